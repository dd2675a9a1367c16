// The lines of a profile file, by the rules that lumutil.h names, and the keys of a whole one.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

constexpr std::size_t kLongestProfileLine = 2047; // a longer one is read in pieces, each a line of its own

// Without the blanks at both ends: space, tab, carriage return, line feed.
std::string_view TrimmedProfileText(std::string_view text);

// The section's name when the line is a header: any line with both brackets, in any place and order. A line ends before
// its first NUL; the results are parts of it.
std::optional<std::string_view> SectionOfHeader(std::string_view line);

struct ProfileEntry {
    std::string_view key;
    std::string_view value; // without its quotes
};
std::optional<ProfileEntry> EntryOfLine(std::string_view line);

// Finds what a search from the start of `text` would find, without the search.
class ProfileIndex {
public:
    explicit ProfileIndex(std::string text);
    ProfileIndex(const ProfileIndex &) = delete; // the entries are parts of the text
    ProfileIndex &operator=(const ProfileIndex &) = delete;

    // Valid as long as the index.
    std::optional<std::string_view> Find(std::string_view section, std::string_view key) const;

private:
    struct LessIgnoringCase {
        bool operator()(std::string_view left, std::string_view right) const;
    };
    // The first entry of each key in the first section of each name.
    using Entries = std::map<std::string_view, std::string_view, LessIgnoringCase>;

    std::string m_text;
    std::map<std::string_view, Entries, LessIgnoringCase> m_sections;
};
