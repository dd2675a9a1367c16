// The sites whose pages may start something on this machine, as the user allowed them.
//
// Several processes may change the list at once. Each change is made under a lock to what the file holds at that
// moment, so that no change undoes another one.
#pragma once

#include <filesystem>
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

class Origins {
public:
    // Reads the file, one site a line; other lines are ignored. A missing file allows nothing. Neither does one that
    // cannot be read, that belongs to another user (but root), or that others may write: see problem().
    explicit Origins(std::filesystem::path file);

    // Why the file is not used and what to do about it, as a sentence; empty when it is used or missing.
    const std::string &problem() const {
        return m_problem;
    }

    bool IsAllowed(std::string_view origin) const;
    const std::vector<std::string> &all() const {
        return m_origins;
    } // sorted

    // `origin` as ReadOrigin gives it. On failure, which includes a file that is not used, nothing has changed.
    // Allowing an allowed site and forbidding one that is not allowed succeed.
    base::Result<void> Allow(const std::string &origin);
    base::Result<void> Forbid(const std::string &origin);

private:
    void Read();
    base::Result<void> Change(const std::string &origin, bool allow);

    std::filesystem::path m_file;
    std::string m_problem;
    std::vector<std::string> m_origins;
};

} // namespace lumhost
