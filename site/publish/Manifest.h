// The one file from which a site is published: JSON, comments allowed. docs/publishing.md describes it field by field.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"

namespace lumsite {

// Error code of a manifest that cannot be understood.
constexpr int kManifestFault = -1;

struct ManifestComponent {
    std::string where;          // "site.json:12", for messages
    std::filesystem::path path; // absolute
    std::string name;           // its file name
    std::string target;
    std::string version; // four numbers joined by ","; empty: the one that the component itself carries
    std::string action = "install";
    std::string update = "version";
    std::string failure;
    int osVersion = 0;
    std::string format = "tar.gz";
    std::string hash = "sha256";
    bool linksAsFiles = false;
};

// One list of items and the key that signs them.
struct ManifestSection {
    std::string where;
    std::string name = "Kelvo";
    std::filesystem::path keys;
};

struct ManifestPage {
    std::string where;
    std::string file = "index.html";
    std::string title = "Start";
    std::string section;
    std::string component; // the one that is started
    std::map<std::string, std::string> parameters;
};

struct ManifestRelease {
    std::string where;
    std::filesystem::path keys;
    std::vector<std::string> mirrors; // addresses of folders of targets, each with a "/" at its end
};

struct Manifest {
    std::string url;             // root under which visitors find the site
    bool versionInNames = false; // packages are named by version instead of by content
    std::optional<ManifestRelease> release;
    std::vector<ManifestSection> sections;
    std::vector<ManifestComponent> components;
    std::vector<ManifestPage> pages;
};

// Reads and checks a manifest; paths in it start from its own folder. `url`, when not empty, replaces the manifest's.
// Fails with kManifestFault and the line of what is wrong, or with an errno when the file cannot be read.
base::Result<Manifest> ReadManifest(const std::filesystem::path &path, const std::string &url);

// Why `url` cannot be a URL root, or empty.
std::string ReasonAgainstUrlRoot(std::string_view url);

} // namespace lumsite
