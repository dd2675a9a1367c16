// The record of what was installed on this machine.
//
// The data folder holds "installed.json": for each component its folder, its name, where it came from and when, and all
// its files with size, time and XXH3 digest, as they were right after the installation. The digests were taken while
// the files were written, so nothing is read for them. The extension renames a library after its version and leaves a
// link under its own name; both belong to the component.
//
// Several processes may install at once; each change is made under a lock. Any thread.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"
#include "delivery/package/Unpacking.h"
#include "delivery/page/Page.h"
#include "host/Folders.h"

namespace lumhost {

struct InstalledFile {
    std::string path;   // relative to the component's folder
    std::string target; // of a symbolic link; empty for a file
    std::uint64_t size = 0;
    bool executable = false;
    std::int64_t modified = 0; // nanoseconds since 1970
    // Lower-case hexadecimal: XXH3, or SHA-256 in records of earlier versions. Empty when the file could not be read.
    std::string digest;
};

// Which file or folder it is, so that another one of the same name can be told from it. Of a symbolic link: what it
// leads to.
struct Identity {
    std::uint64_t number = 0; // 0: nothing is there
    std::int64_t born = 0;    // nanoseconds since 1970; 0 where the file system does not tell
    bool operator==(const Identity &) const = default;
};
Identity Identify(const std::filesystem::path &path);

// What a component is to be fetched again with.
struct InstalledSource {
    std::string site; // of the page's LumUrlRoot; empty when it is not known
    std::string page; // the page's own site; empty for a file
    // Of the page: what decides about the download, and nothing else.
    std::map<std::string, std::string> parameters = {};
    auto operator<=>(const InstalledSource &) const = default; // NOLINT(modernize-use-nullptr): clang 14 sees a 0
};
InstalledSource SourceOf(const delivery::Page &page);
// As a line of text, and back; what is not one gives an unknown source.
std::string ToLine(const InstalledSource &source);
InstalledSource SourceOfLine(std::string_view line);

struct InstalledComponent {
    std::filesystem::path folder;
    std::string name;
    std::vector<InstalledFile> files;
    InstalledSource source = {};
    std::int64_t installed = 0; // seconds since 1970
    Identity identity = {};

    std::filesystem::path path() const {
        return folder / name;
    }
};

// Something else is at the component's place than what was recorded.
bool IsReplaced(const InstalledComponent &component);

std::string DigestText(std::uint64_t digest);
std::int64_t ModifiedAt(const struct stat &status);

// Whether the name stays in its folder: names of the record are used for removing.
bool IsPlainName(const std::string &name);

class Installed {
public:
    explicit Installed(const Folders &folders) : m_folder(folders.data) {}

    // Reads and hashes what is at `destination` (and its target, when that is a library's link). What cannot be read is
    // recorded without a hash and will count as changed.
    static InstalledComponent Look(const std::filesystem::path &destination);

    // The same of what was just unpacked from a package with these files, without reading it; those without a digest
    // are read. An empty list: all are.
    static InstalledComponent Take(const std::filesystem::path &destination,
                                   const std::vector<delivery::UnpackedFile> &files);

    // All components on record. A record that is missing or damaged is an empty one.
    std::vector<InstalledComponent> Components() const;

    // Adds these, each replacing what was recorded under its folder and name.
    base::Result<void> Record(const std::vector<InstalledComponent> &components) const;

    // Changes the record under the lock; it is written when `change` answers true.
    base::Result<void> Change(const std::function<bool(std::vector<InstalledComponent> &)> &change) const;

    // Removes the record itself.
    void RemoveFile() const;

private:
    std::filesystem::path File() const;

    const std::filesystem::path m_folder;
};

} // namespace lumhost
