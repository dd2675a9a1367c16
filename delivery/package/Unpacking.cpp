#include "delivery/package/Unpacking.h"

#include <optional>

#include "base/Disk.h"
#include "base/ScopedUtf8Locale.h"
#include "base/Text.h"
#include "delivery/package/EntryPath.h"
#include "delivery/package/PackageReader.h"
#include "delivery/package/UnpackFailure.h"
#include "delivery/package/UnpackTree.h"

namespace delivery {

namespace {

class Unpacking {
public:
    Unpacking(int staging, const std::filesystem::path &disk, const std::string &component, const UnpackLimits &limits,
              const std::stop_token &stop)
        : m_disk(disk), m_component(component), m_limits(limits), m_stop(stop), m_tree(staging, limits.maxEntries),
          m_bytesLeft(limits.maxBytes) {}

    Unpacked Run(const std::filesystem::path &package);

private:
    void Take(PackageReader &reader, const PackageEntry &entry);
    void CheckSpace(std::uint64_t needed) const;
    void Admit(std::uint64_t more);

    const std::filesystem::path &m_disk;
    std::string m_component; // empty until the first entry when any will do
    const UnpackLimits &m_limits;
    const std::stop_token &m_stop;
    UnpackTree m_tree;
    std::uint64_t m_bytesLeft;
};

EntryPath SplitOrRefuse(const std::string &path) {
    if (auto names = SplitEntryPath(path)) {
        return *std::move(names);
    }
    throw UnpackFailure{kUnpackRefusedEntry,
                        "the entry " + base::Quoted(path) + " leads out of the component, or too deep"};
}

Unpacked Unpacking::Run(const std::filesystem::path &package) {
    const base::ScopedUtf8Locale locale;
    PackageReader reader(package, m_limits.maxWindow, m_stop);
    std::optional<PackageEntry> entry = reader.Next();
    if (entry) {
        CheckSpace(reader.LeastSize());
    }
    for (; entry; entry = reader.Next()) {
        Take(reader, *entry);
    }
    if (m_tree.empty()) {
        throw UnpackFailure{kUnpackNotOneComponent, "the package holds nothing"};
    }
    Admit(0);
    return {m_component, m_limits.maxBytes - m_bytesLeft};
}

void Unpacking::Take(PackageReader &reader, const PackageEntry &entry) {
    Admit(0);
    const EntryPath path = SplitOrRefuse(entry.path);
    if (path.empty() && entry.kind == PackageEntry::Kind::Folder) { // "./", the folder that was packed
        return;
    }
    if (m_component.empty() && !path.empty()) {
        m_component = path.front();
    }
    if (path.empty() || path.front() != m_component) {
        throw UnpackFailure{kUnpackNotOneComponent, "the package holds " +
                                                        base::Quoted(path.empty() ? "." : path.front()) +
                                                        ", and should hold " + base::Quoted(m_component) + " only"};
    }
    const auto admit = [this](std::uint64_t more) { Admit(more); };
    switch (entry.kind) {
    case PackageEntry::Kind::Folder:
        m_tree.MakeFolder(path);
        return;
    case PackageEntry::Kind::Link:
        m_tree.MakeLink(path, entry.target);
        return;
    case PackageEntry::Kind::File:
        reader.CopyTo(m_tree.MakeFile(path, entry.executable).get(), admit);
        return;
    case PackageEntry::Kind::HardLink: {
        // The contents come with the first of the names, or (cpio) with the last.
        const EntryPath target = SplitOrRefuse(entry.target);
        if (target.empty()) {
            throw UnpackFailure{kUnpackRefusedEntry,
                                "the entry " + base::Quoted(entry.path) + " is a second name of nothing"};
        }
        reader.CopyTo(m_tree.MakeHardLink(path, target).get(), admit);
        return;
    }
    }
}

void Unpacking::CheckSpace(std::uint64_t needed) const {
    if (needed > base::FreeSpace(m_disk)) {
        throw UnpackFailure{kUnpackNoSpace, "unpacking takes " + std::to_string((needed >> 20) + 1) +
                                                " MiB, and there is less room on the disk"};
    }
}

// Called for every entry and every piece.
void Unpacking::Admit(std::uint64_t more) {
    if (m_stop.stop_requested()) {
        throw UnpackFailure{kUnpackInterrupted, "the installation was stopped"};
    }
    if (more > m_bytesLeft) {
        throw UnpackFailure{kUnpackTooLarge, "the component is larger than the " +
                                                 std::to_string(m_limits.maxBytes >> 20) + " MiB that are allowed"};
    }
    m_bytesLeft -= more;
}

} // namespace

Unpacked Unpack(const std::filesystem::path &package, int staging, const std::filesystem::path &disk,
                const std::string &component, const UnpackLimits &limits, const std::stop_token &stop) {
    return Unpacking(staging, disk, component, limits, stop).Run(package);
}

} // namespace delivery
