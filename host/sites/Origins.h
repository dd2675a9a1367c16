// The sites whose pages may start something on this machine, as the user allowed them.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumhost {

// "https://host" or "https://host:port", the only form that is stored and compared. Nothing when the text is not the
// address of a site: a path behind it is cut, but a user name, a "%" or letters outside ASCII in it are refused,
// because people read such addresses wrongly.
std::optional<std::string> ReadOrigin(std::string_view text);

class Origins {
public:
    // Reads the file, one site a line. A missing or unreadable one allows nothing; lines that are no site are ignored.
    explicit Origins(std::filesystem::path file);

    bool IsAllowed(std::string_view origin) const;
    const std::vector<std::string> &all() const {
        return m_origins;
    } // sorted

    // `origin` as ReadOrigin gives it. False, with the system's reason, when the file cannot be written; then nothing
    // has changed. Allowing twice and forbidding what is not allowed are no failures.
    bool Allow(const std::string &origin, std::string *error = nullptr);
    bool Forbid(const std::string &origin, std::string *error = nullptr);

private:
    bool Write(std::vector<std::string> origins, std::string *error);

    std::filesystem::path m_file;
    std::vector<std::string> m_origins;
};

} // namespace lumhost
