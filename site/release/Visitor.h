// A visitor of a signed release, played by the client that visitors have: what it refuses, they will refuse.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"
#include "delivery/release/ReleaseClient.h"

namespace lumsite {

// Serves the metadata of a published folder; files in memory (by name) come before those on the disk.
class FolderRelease : public delivery::ReleaseFetcher {
public:
    explicit FolderRelease(const std::filesystem::path &site, std::map<std::string, std::string> files = {});
    base::Result<std::string> Fetch(const std::string &name, std::uint64_t maxLength, std::string_view saved) override;

private:
    std::filesystem::path m_folder;
    std::map<std::string, std::string> m_files;
};

class Visitor {
public:
    // One who trusts `root` and has nothing else. The folder keeps what the visitor trusts; it is emptied.
    static base::Result<Visitor> Fresh(std::filesystem::path folder, std::string_view root);
    // The one whose folder this is.
    explicit Visitor(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    // A start: brings the metadata up to date, and looks for each of the targets.
    base::Result<std::vector<delivery::ReleaseTarget>>
    Start(delivery::ReleaseFetcher &release, const std::vector<std::string> &targets, delivery::ReleaseTime now) const;

private:
    std::filesystem::path m_folder;
};

} // namespace lumsite
