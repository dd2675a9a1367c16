// The sites whose pages may start something on this machine, as the user allowed them.
//
// Several processes may change the list at once. Each change is made under a lock to what the file holds at that
// moment, so that no change undoes another one.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"

namespace lumhost {

// "https://host" or "https://host:port", the only form that is stored and compared. Nothing when the text is not the
// address of a site: a path after it is cut off, but a user name, a "%" or blanks in it are refused, because people
// misread such addresses.
std::optional<std::string> ReadOrigin(std::string_view text);

// Where the components of a site may be installed.
enum class Reach {
    KelvoFolder, // the user's "Kelvo Folder"
    Anywhere,    // wherever the site's instruction file says; what is there is replaced
};

class Origins {
public:
    // Reads the file, one site a line, followed by the word "anywhere" when that is its reach; other lines are ignored.
    // A missing file allows nothing. Neither does one that cannot be read, that belongs to another user (but root), or
    // that others may write: see problem().
    explicit Origins(std::filesystem::path file);

    // Why the file is not used and what to do about it, as a sentence; empty when it is used or missing.
    const std::string &problem() const {
        return m_problem;
    }

    bool IsAllowed(std::string_view origin) const;
    // Nothing when it is not allowed.
    std::optional<Reach> ReachOf(std::string_view origin) const;
    const std::map<std::string, Reach, std::less<>> &all() const {
        return m_origins;
    }

    // Those that may install into "Kelvo Folder" only: all that are not allowed to install anywhere.
    std::vector<std::string> Confined(const std::vector<std::string> &sites) const;

    // `origin` as ReadOrigin gives it. On failure, which includes a file that is not used, nothing has changed.
    // Allowing an allowed site and forbidding one that is not allowed succeed.
    // Without a reach an allowed site keeps its own, and another one gets "Kelvo Folder".
    base::Result<void> Allow(const std::string &origin, std::optional<Reach> reach = {});
    base::Result<void> Forbid(const std::string &origin);

private:
    void Read();
    base::Result<void> Change(const std::function<void()> &change);

    std::filesystem::path m_file;
    std::string m_problem;
    std::map<std::string, Reach, std::less<>> m_origins;
};

} // namespace lumhost
