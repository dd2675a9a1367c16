#include "host/sites/Origins.h"

#include <algorithm>
#include <sstream>

#include "base/Url.h"
#include "base/Files.h"
#include "base/Text.h"

namespace lumhost {

namespace {

constexpr std::uint64_t kLargestFile = 1 << 20;

} // namespace

std::optional<std::string> ReadOrigin(std::string_view text) {
    const std::size_t host = text.find("://");
    if (host == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view authority = text.substr(host + 3, text.find_first_of("/?#", host + 3) - (host + 3));
    const bool misleading = authority.empty() || std::any_of(authority.begin(), authority.end(), [](char c) {
                                return (c >= 0 && c <= ' ') || c == '@' || c == '%' || c == '\\';
                            });
    const std::optional<base::Url> url = misleading ? std::nullopt : base::Url::Parse(text);
    return url ? std::optional(url->Origin()) : std::nullopt;
}

Origins::Origins(std::filesystem::path file) : m_file(std::move(file)) {
    base::RemoveUnfinished(m_file.parent_path());
    std::istringstream lines(base::ReadWhole(m_file, kLargestFile).value_or(""));
    for (std::string line; std::getline(lines, line);) {
        if (const auto origin = ReadOrigin(base::OneLine(line))) {
            m_origins.push_back(*origin);
        }
    }
    std::sort(m_origins.begin(), m_origins.end());
    m_origins.erase(std::unique(m_origins.begin(), m_origins.end()), m_origins.end());
}

bool Origins::IsAllowed(std::string_view origin) const {
    return std::binary_search(m_origins.begin(), m_origins.end(), origin);
}

bool Origins::Allow(const std::string &origin, std::string *error) {
    std::vector<std::string> origins = m_origins;
    origins.insert(std::lower_bound(origins.begin(), origins.end(), origin), origin);
    return IsAllowed(origin) || Write(std::move(origins), error);
}

bool Origins::Forbid(const std::string &origin, std::string *error) {
    std::vector<std::string> origins = m_origins;
    std::erase(origins, origin);
    return !IsAllowed(origin) || Write(std::move(origins), error);
}

bool Origins::Write(std::vector<std::string> origins, std::string *error) {
    std::string content;
    for (const std::string &origin : origins) {
        content += origin + "\n";
    }
    if (const base::Result<void> written = base::ReplaceFile(m_file, content); !written) {
        if (error) {
            *error = std::generic_category().message(written.error().code);
        }
        return false;
    }
    m_origins = std::move(origins);
    return true;
}

} // namespace lumhost
