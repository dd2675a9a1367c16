// Removes from a trace what is private to the user or the meeting, before it is kept for support.
//
//   - the value of every page parameter but a few technical ones (listed in the source) becomes the
//     parameter's name in angle brackets, also where it is percent-encoded; values of one or two characters cannot
//     be told from other text and stay, except in the lines and addresses below
//   - an address loses user, query and fragment: these tell a site about a meeting
//   - the home folder becomes "~", and the user's name "<user>"
//   - the line in which the extension lists the parameters of its log requests ends before them
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
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
    // Longest first, so that a value within another one does not break it.
    std::vector<std::pair<std::string, std::string>> m_replacements;
    const std::filesystem::path m_home;
    std::string m_user;
};

} // namespace lumhost
