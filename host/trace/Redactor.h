// Removes from a trace what is private to the user or the meeting, before it is kept for support.
//
//   - the value of every page parameter but a few technical ones (listed in the source) becomes the parameter's name in
//     angle brackets, without regard to case, also where it is percent-encoded or base64, or decoded from these; so
//     does each of its words of four or more characters where it is a word, such as a part of an address's path, unless
//     it is a word of a technical value, too. Values of one or two characters cannot be told from other text and stay,
//     except in the lines and addresses below
//   - an address loses user, query and fragment: these tell a site about a meeting
//   - the home folder becomes "~", and the user's name "<user>"
//   - the line in which the extension lists the parameters of its log requests ends before them
#pragma once

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace lumhost {

bool IsTechnicalParameter(std::string_view name);

// The login name; empty when the system knows none.
std::string UserName();

class Redactor {
public:
    // `user`: the login name, or empty.
    Redactor(const std::filesystem::path &home, const std::string &user,
             const std::vector<std::pair<std::string, std::string>> &parameters);

    std::string Redact(std::string_view text) const;
    // Removes the home folder and the user's name only, for what a site is told about a fault.
    std::string HidePerson(std::string_view text) const;

private:
    enum class Kind {
        Text,    // wherever it occurs
        Address, // likewise, with what follows it in an address
        Piece,   // only as a word
    };
    struct Hidden {
        std::string text; // lower case
        std::string shown;
        Kind kind;
    };
    void AddValue(const std::string &value, const std::string &shown, const std::set<std::string> &plain);
    void Add(const std::string &text, const std::string &shown, Kind kind);
    const Hidden *Find(std::string_view lower, std::size_t at) const;
    std::size_t EndOfAddress(std::string_view lower, std::size_t at) const;
    std::string HideValues(std::string_view text) const;

    // By their first three bytes; the longest first, so that a value within another one does not break it.
    std::unordered_map<std::uint32_t, std::vector<Hidden>> m_hidden;
    std::size_t m_pieces = 0;
    const std::filesystem::path m_home;
    std::string m_user;
};

} // namespace lumhost
