// The names and links of an archive, judged as texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace delivery {

using EntryPath = std::vector<std::string_view>; // its names, which refer to the text that was split

// The names of an entry's path; "." and doubled slashes count for nothing, so "./" has none. Nothing for a path that
// is absolute, has a ".." in it, or is nested too deep.
std::optional<EntryPath> SplitEntryPath(std::string_view path);

// With "/" between the names.
std::string JoinEntryPath(const EntryPath &path);

// Whether a symbolic link with this target leads to a place within its component, whatever other links this rule
// admits. `depth`: the folders of the component that the link lies in, itself included, so 1 for a link right in it; 0
// for a link in place of the component, which is none.
//
// A ".." is admitted only at the front. There it leaves real folders, which can be counted; after a name it might leave
// the place that another link leads to.
bool LinkStaysInside(std::size_t depth, std::string_view target);

} // namespace delivery
