#include "host/sites/Origins.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <sstream>

#include "base/Files.h"
#include "base/Text.h"
#include "base/Url.h"

namespace lumhost {

namespace {

constexpr std::uint64_t kLargestFile = 1 << 20;

// The content, or why it is not used.
base::Result<std::string> ReadList(const std::filesystem::path &file) {
    const base::ScopedDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor && errno == ENOENT) {
        return "";
    }
    struct stat status {};
    if (!descriptor || fstat(descriptor.get(), &status) != 0) {
        return base::SystemFailure("cannot read " + file.string(), errno);
    }
    if (status.st_uid != 0 && status.st_uid != geteuid()) {
        return base::Fail(file.string() +
                          " is not used: it belongs to another user; remove it and allow your sites again");
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return base::Fail(file.string() +
                          " is not used: other users may write it; check the sites in it, then type: chmod 600 " +
                          file.string());
    }
    base::Result<std::string> content = base::ReadWhole(descriptor.get(), kLargestFile);
    return content ? content : base::SystemFailure("cannot read " + file.string(), content.error().code);
}

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
    Read();
}

void Origins::Read() {
    const base::Result<std::string> content = ReadList(m_file);
    m_problem = content ? "" : content.error().text;
    std::set<std::string> origins;
    std::istringstream lines(content.value_or(""));
    for (std::string line; std::getline(lines, line);) {
        if (const auto origin = ReadOrigin(base::OneLine(line))) {
            origins.insert(*origin);
        }
    }
    m_origins.assign(origins.begin(), origins.end());
}

bool Origins::IsAllowed(std::string_view origin) const {
    return std::binary_search(m_origins.begin(), m_origins.end(), origin);
}

base::Result<void> Origins::Allow(const std::string &origin) {
    return Change(origin, true);
}

base::Result<void> Origins::Forbid(const std::string &origin) {
    return Change(origin, false);
}

base::Result<void> Origins::Change(const std::string &origin, bool allow) {
    if (const base::Result<void> made = base::MakeFolder(m_file.parent_path()); !made) {
        return made;
    }
    const base::Result<base::FileLock> lock = base::FileLock::Wait(m_file.string() + ".lock");
    if (!lock) {
        return base::Fail(lock.error());
    }
    Read(); // others may have changed it
    if (!m_problem.empty()) {
        return base::Fail(m_problem);
    }
    if (IsAllowed(origin) == allow) {
        return {};
    }
    std::set<std::string> origins(m_origins.begin(), m_origins.end());
    if (allow) {
        origins.insert(origin);
    } else {
        origins.erase(origin);
    }
    std::string content;
    for (const std::string &each : origins) {
        content += each + "\n";
    }
    if (const base::Result<void> written = base::ReplaceFile(m_file, content); !written) {
        return written;
    }
    m_origins.assign(origins.begin(), origins.end());
    return {};
}

} // namespace lumhost
