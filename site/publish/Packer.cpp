#include "site/publish/Packer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/FolderNames.h"
#include "base/ScopedDescriptor.h"
#include "base/ScopedUtf8Locale.h"
#include "base/Text.h"
#include "delivery/package/EntryPath.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Fail;
using base::Result;

struct ArchiveFreer {
    void operator()(archive *a) const {
        archive_free(a);
    }
};
struct EntryFreer {
    void operator()(archive_entry *entry) const {
        archive_entry_free(entry);
    }
};
using ScopedArchive = std::unique_ptr<archive, ArchiveFreer>;

constexpr std::size_t kLongestLinkFile = 1022; // what the launcher reads of a file that is to become a link

// Whether the launcher would make a link of a plain file with this name.
bool BecomesLink(const fs::path &place) {
    for (fs::path folder = place.parent_path(); !folder.empty(); folder = folder.parent_path()) {
        const std::string name = folder.filename().string();
        const std::size_t at = name.find(".framework");
        if (at != std::string::npos) {
            const std::string own = place.filename().string();
            return own == name.substr(0, at) || own == "Resources" || own == "Current";
        }
        if (name != "Versions") {
            return false;
        }
    }
    return false;
}

class PackageWriter {
public:
    PackageWriter(const fs::path &package, const PackOptions &options)
        : m_package(package), m_options(options), m_archive(archive_write_new()) {}

    Result<void> Open();
    Result<void> AddTree(const fs::path &source, const std::string &name);
    Result<PackResult> Close();

private:
    // What the library says of its last call that did not succeed.
    Result<void> Judge(int status) const {
        return status < ARCHIVE_WARN ? CannotWrite(archive_error_string(m_archive.get())) : Result<void>();
    }
    Result<void> CannotWrite(const char *reason) const {
        return Fail("cannot write " + m_package + ": " + (reason ? reason : "the archive library gives no reason"));
    }
    int SetFormat();
    Result<void> AddFile(const fs::path &source, const std::string &name, const struct stat &status);
    Result<void> AddLink(const fs::path &source, const std::string &name);
    Result<void> AddFolder(const fs::path &source, const std::string &name);
    Result<void> AddHeader(const std::string &name, mode_t type, mode_t permissions, std::uint64_t size,
                           const std::string *target = nullptr);
    Result<void> AddContent(std::string_view bytes);

    std::string m_package;
    const PackOptions &m_options;
    ScopedArchive m_archive;
    PackResult m_result;
};

int PackageWriter::SetFormat() {
    archive *a = m_archive.get();
    const std::string &format = m_options.format;
    if (format == "zip") {
        return archive_write_set_format_zip(a);
    }
    const int status = archive_write_set_format_pax_restricted(a);
    if (status < ARCHIVE_WARN) {
        return status;
    }
    if (format == "tar.xz") {
        return archive_write_add_filter_xz(a);
    }
    if (format == "tar.zst") {
        return archive_write_add_filter_zstd(a);
    }
    const int added = archive_write_add_filter_gzip(a);
    return added < ARCHIVE_WARN ? added : archive_write_set_filter_option(a, "gzip", "timestamp", nullptr);
}

Result<void> PackageWriter::Open() {
    archive *a = m_archive.get();
    return Judge(SetFormat())
        .and_then([&] { return Judge(archive_write_set_format_option(a, nullptr, "hdrcharset", "UTF-8")); })
        .and_then([&] { return Judge(archive_write_open_filename(a, m_package.c_str())); });
}

Result<void> PackageWriter::AddHeader(const std::string &name, mode_t type, mode_t permissions, std::uint64_t size,
                                      const std::string *target) {
    const std::unique_ptr<archive_entry, EntryFreer> entry(archive_entry_new());
    archive_entry_set_pathname_utf8(entry.get(), name.c_str());
    archive_entry_set_filetype(entry.get(), type);
    archive_entry_set_perm(entry.get(), permissions);
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(size));
    archive_entry_set_mtime(entry.get(), 0, 0);
    if (target) {
        archive_entry_set_symlink_utf8(entry.get(), target->c_str());
    }
    return Judge(archive_write_header(m_archive.get(), entry.get()));
}

Result<void> PackageWriter::AddContent(std::string_view bytes) {
    const la_ssize_t written = archive_write_data(m_archive.get(), bytes.data(), bytes.size());
    return written == static_cast<la_ssize_t>(bytes.size()) ? Result<void>()
                                                            : CannotWrite(archive_error_string(m_archive.get()));
}

Result<void> PackageWriter::AddTree(const fs::path &source, const std::string &name) {
    if (!base::IsUtf8(name)) {
        return Fail(base::OneLine(source.string()) + ": the name is not UTF-8; rename it");
    }
    if (!delivery::SplitEntryPath(name)) {
        return Fail(source.string() + " is nested too deeply and would be refused; use fewer folders");
    }
    struct stat status {};
    if (lstat(source.c_str(), &status) != 0) {
        return base::SystemFailure("cannot pack " + source.string(), errno);
    }
    if (S_ISDIR(status.st_mode)) {
        return AddFolder(source, name);
    }
    if (S_ISLNK(status.st_mode)) {
        return AddLink(source, name);
    }
    if (S_ISREG(status.st_mode)) {
        return AddFile(source, name, status);
    }
    return Fail(source.string() + " is not a file, folder or link; remove it from the component");
}

Result<void> PackageWriter::AddFolder(const fs::path &source, const std::string &name) {
    const Result<std::vector<std::string>> children = base::NamesIn(source);
    if (!children) {
        return Fail(children.error());
    }
    Result<void> added = AddHeader(name + "/", AE_IFDIR, 0755, 0);
    for (auto child = children->begin(); added && child != children->end(); ++child) {
        added = AddTree(source / *child, name + "/" + *child);
    }
    return added;
}

Result<void> PackageWriter::AddFile(const fs::path &source, const std::string &name, const struct stat &status) {
    const base::ScopedDescriptor file(open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file) {
        return base::SystemFailure("cannot read " + source.string(), errno);
    }
    std::uint64_t left = static_cast<std::uint64_t>(status.st_size);
    Result<void> added = AddHeader(name, AE_IFREG, (status.st_mode & S_IXUSR) ? 0755 : 0644, left);
    std::array<char, 65536> block;
    while (added && left > 0) {
        const ssize_t count = read(file.get(), block.data(), std::min<std::uint64_t>(block.size(), left));
        if (count < 0) {
            return base::SystemFailure("cannot read " + source.string(), errno);
        }
        if (count == 0) {
            return Fail(source.string() + " shrank while it was packed; pack when nothing writes to the component");
        }
        added = AddContent({block.data(), static_cast<std::size_t>(count)});
        left -= static_cast<std::uint64_t>(count);
    }
    m_result.unpackedSize += static_cast<std::uint64_t>(status.st_size);
    return added;
}

Result<void> PackageWriter::AddLink(const fs::path &source, const std::string &name) {
    std::error_code error;
    const std::string target = fs::read_symlink(source, error);
    if (error) {
        return base::SystemFailure("cannot read " + source.string(), error.value());
    }
    const auto path = delivery::SplitEntryPath(name);
    if (!path || !delivery::LinkStaysInside(path->size() - 1, target)) {
        return Fail(source.string() + " links to " + target +
                    ", outside the component, and would be refused; make it a relative link or a file");
    }
    if (!m_options.linksAsFiles) {
        return AddHeader(name, AE_IFLNK, 0777, 0, &target);
    }
    if (target.size() > kLongestLinkFile || target.find('\n') != std::string::npos) {
        return Fail(source.string() + ": the link's target is too long or contains a line break; pack it as a link");
    }
    if (!BecomesLink(name)) {
        m_result.warnings.push_back(name + " is not a link that the launcher restores; it stays a plain file");
    }
    m_result.unpackedSize += target.size();
    return AddHeader(name, AE_IFREG, 0644, target.size()).and_then([&] { return AddContent(target); });
}

Result<PackResult> PackageWriter::Close() {
    return Judge(archive_write_close(m_archive.get())).map([&] { return m_result; });
}

} // namespace

const std::vector<std::string> &PackageFormats() {
    static const std::vector<std::string> formats = {"tar.gz", "tar.zst", "tar.xz", "zip"};
    return formats;
}

Result<PackResult> Pack(const fs::path &component, const fs::path &package, const PackOptions &options) {
    if (std::ranges::find(PackageFormats(), options.format) == PackageFormats().end()) {
        return Fail("unknown package format " + options.format + "; use tar.gz, tar.zst, tar.xz or zip");
    }
    std::error_code error;
    const fs::path path = fs::absolute(component, error).lexically_normal();
    if (error) {
        return base::SystemFailure("cannot pack " + component.string(), error.value());
    }
    const fs::path source = path.has_filename() ? path : path.parent_path();
    if (fs::is_symlink(fs::symlink_status(source, error))) {
        return Fail(component.string() + " is a link; name the component itself");
    }
    const base::ScopedUtf8Locale utf8;
    if (!utf8) {
        return Fail("this system has no locale C.UTF-8, which names in packages need");
    }
    PackageWriter writer(package, options);
    return writer.Open().and_then([&] { return writer.AddTree(source, source.filename()); }).and_then([&] {
        return writer.Close();
    });
}

} // namespace lumsite
