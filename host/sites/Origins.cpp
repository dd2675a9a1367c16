#include "host/sites/Origins.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <sstream>

#include "base/Files.h"
#include "base/Text.h"
#include "base/Url.h"

namespace lumhost {

namespace {

constexpr std::uint64_t kLargestFile = 1 << 20;
constexpr std::string_view kAnywhere = " anywhere"; // behind a site in the file

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
    m_origins.clear();
    std::istringstream lines(content.value_or(""));
    for (std::string line; std::getline(lines, line);) {
        line = base::OneLine(line);
        const bool isAnywhere = line.ends_with(kAnywhere);
        line.resize(line.size() - (isAnywhere ? kAnywhere.size() : 0));
        if (const auto origin = ReadOrigin(line)) {
            m_origins.emplace(*origin, isAnywhere ? Reach::Anywhere : Reach::KelvoFolder);
        }
    }
}

bool Origins::IsAllowed(std::string_view origin) const {
    return m_origins.contains(origin);
}

std::optional<Reach> Origins::ReachOf(std::string_view origin) const {
    const auto found = m_origins.find(origin);
    return found == m_origins.end() ? std::nullopt : std::optional(found->second);
}

std::vector<std::string> Origins::Confined(const std::vector<std::string> &sites) const {
    std::vector<std::string> confined;
    std::ranges::copy_if(sites, std::back_inserter(confined),
                         [&](const std::string &site) { return ReachOf(site) != Reach::Anywhere; });
    return confined;
}

base::Result<void> Origins::Allow(const std::string &origin, std::optional<Reach> reach) {
    return Change([&] {
        const auto [known, added] = m_origins.emplace(origin, reach.value_or(Reach::KelvoFolder));
        known->second = reach.value_or(known->second);
    });
}

base::Result<void> Origins::Forbid(const std::string &origin) {
    return Change([&] { m_origins.erase(origin); });
}

base::Result<void> Origins::Change(const std::function<void()> &change) {
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
    const auto before = m_origins;
    change();
    if (m_origins == before) {
        return {};
    }
    std::string content;
    for (const auto &[origin, reach] : m_origins) {
        content.append(origin).append(reach == Reach::Anywhere ? kAnywhere : "").append("\n");
    }
    const base::Result<void> written = base::ReplaceFile(m_file, content);
    if (!written) {
        m_origins = before;
    }
    return written;
}

} // namespace lumhost
