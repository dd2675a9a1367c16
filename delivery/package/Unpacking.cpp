#include "delivery/package/Unpacking.h"

#include <errno.h>
#include <fcntl.h>

#include <optional>
#include <system_error>

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
    explicit Unpacking(const UnpackOrder &order)
        : m_order(order), m_limits(order.limits), m_component(order.component),
          m_tree(order.staging, m_limits.maxEntries), m_bytesLeft(m_limits.maxBytes) {}

    Unpacked Run();

private:
    void Take(PackageReader &reader, const PackageEntry &entry);
    void CheckSpace(std::uint64_t needed) const;
    void Admit(std::uint64_t more);

    const UnpackOrder &m_order;
    const UnpackLimits &m_limits;
    std::string m_component; // empty until the first entry when any will do
    UnpackTree m_tree;
    std::uint64_t m_bytesLeft;
    std::vector<UnpackedFile> m_files;
    bool m_hardLinks = false;
};

EntryPath SplitOrRefuse(const std::string &path) {
    if (auto names = SplitEntryPath(path)) {
        return *std::move(names);
    }
    throw UnpackFailure{kUnpackRefusedEntry,
                        "the entry " + base::Quoted(path) + " leads out of the component, or too deep"};
}

Unpacked Unpacking::Run() {
    const base::ScopedUtf8Locale locale;
    PackageReader reader(m_order.package, m_limits.maxWindow);
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
    if (m_hardLinks) { // what is in a file may have come by another name
        m_files.clear();
    }
    return {m_component, m_limits.maxBytes - m_bytesLeft, std::move(m_files)};
}

void Unpacking::Take(PackageReader &reader, const PackageEntry &entry) {
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
        m_files.push_back({JoinEntryPath(path), entry.target});
        return;
    case PackageEntry::Kind::File: {
        const Copied copied = reader.CopyTo(m_tree.MakeFile(path, entry.executable).get(), admit);
        m_files.push_back({JoinEntryPath(path), "", copied.size, entry.executable, copied.digest});
        return;
    }
    case PackageEntry::Kind::HardLink: {
        // The contents come with the first of the names, or (cpio) with the last.
        const EntryPath target = SplitOrRefuse(entry.target);
        if (target.empty()) {
            throw UnpackFailure{kUnpackRefusedEntry,
                                "the entry " + base::Quoted(entry.path) + " is a second name of nothing"};
        }
        reader.CopyTo(m_tree.MakeHardLink(path, target).get(), admit);
        m_hardLinks = true;
        return;
    }
    }
}

void Unpacking::CheckSpace(std::uint64_t needed) const {
    if (needed > base::FreeSpace(m_order.staging)) {
        throw UnpackFailure{kUnpackNoSpace, "unpacking takes " + std::to_string((needed >> 20) + 1) +
                                                " MiB, and there is less room on the disk"};
    }
}

void Unpacking::Admit(std::uint64_t more) {
    if (more > m_bytesLeft) {
        throw UnpackFailure{kUnpackTooLarge, "the component is larger than the " +
                                                 std::to_string(m_limits.maxBytes >> 20) + " MiB that are allowed"};
    }
    m_bytesLeft -= more;
}

} // namespace

Unpacked Unpack(const UnpackOrder &order) {
    return Unpacking(order).Run();
}

base::ScopedDescriptor OpenPackage(const std::filesystem::path &package) {
    base::ScopedDescriptor file(open(package.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file) {
        throw UnpackFailure{kUnpackNoPackage,
                            "the package cannot be opened: " + std::generic_category().message(errno)};
    }
    return file;
}

} // namespace delivery
