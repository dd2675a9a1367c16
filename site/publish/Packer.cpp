#include "site/publish/Packer.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>

#include "base/ScopedUtf8Locale.h"
#include "base/Utf8.h"
#include "delivery/package/EntryPath.h"
#include "site/Files.h"
#include "site/SiteError.h"

namespace fs = std::filesystem;

namespace lumsite {
namespace {

struct FreeArchive {
    void operator()(archive *a) const {
        archive_free(a);
    }
};
struct FreeEntry {
    void operator()(archive_entry *entry) const {
        archive_entry_free(entry);
    }
};
using ArchivePtr = std::unique_ptr<archive, FreeArchive>;

constexpr size_t kLongestLinkFile = 1022; // what the launcher reads of a file that is to become a link

// Whether the launcher would make a link of a plain file with this name.
bool IsMended(const fs::path &place) {
    for (fs::path folder = place.parent_path(); !folder.empty(); folder = folder.parent_path()) {
        const std::string name = folder.filename().string();
        const size_t at = name.find(".framework");
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
    PackageWriter(const fs::path &package, const PackOptions &options);

    void AddTree(const fs::path &source, const std::string &name);
    void Close();
    PackResult Result() const {
        return m_result;
    }

private:
    void Demand(int status) const {
        if (status < ARCHIVE_WARN) {
            throw SiteError("cannot write " + m_package + ": " + archive_error_string(m_archive.get()));
        }
    }
    void AddFile(const fs::path &source, const std::string &name, const struct stat &status);
    void AddLink(const fs::path &source, const std::string &name);
    void AddFolder(const fs::path &source, const std::string &name);
    void Header(const std::string &name, mode_t type, mode_t permissions, std::uint64_t size,
                const std::string *target = nullptr);
    void Content(const void *data, size_t size);

    std::string m_package;
    const PackOptions &m_options;
    ArchivePtr m_archive;
    PackResult m_result;
};

PackageWriter::PackageWriter(const fs::path &package, const PackOptions &options)
    : m_package(package), m_options(options), m_archive(archive_write_new()) {
    archive *a = m_archive.get();
    if (options.format == "zip") {
        Demand(archive_write_set_format_zip(a));
    } else {
        Demand(archive_write_set_format_pax_restricted(a));
    }
    Demand(archive_write_set_format_option(a, nullptr, "hdrcharset", "UTF-8"));
    if (options.format == "tar.gz") {
        Demand(archive_write_add_filter_gzip(a));
        Demand(archive_write_set_filter_option(a, "gzip", "timestamp", nullptr));
    } else if (options.format == "tar.xz") {
        Demand(archive_write_add_filter_xz(a));
    } else if (options.format == "tar.zst") {
        Demand(archive_write_add_filter_zstd(a));
    }
    Demand(archive_write_open_filename(a, m_package.c_str()));
}

void PackageWriter::Header(const std::string &name, mode_t type, mode_t permissions, std::uint64_t size,
                           const std::string *target) {
    const std::unique_ptr<archive_entry, FreeEntry> entry(archive_entry_new());
    archive_entry_set_pathname_utf8(entry.get(), name.c_str());
    archive_entry_set_filetype(entry.get(), type);
    archive_entry_set_perm(entry.get(), permissions);
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(size));
    archive_entry_set_mtime(entry.get(), 0, 0);
    if (target) {
        archive_entry_set_symlink_utf8(entry.get(), target->c_str());
    }
    Demand(archive_write_header(m_archive.get(), entry.get()));
}

void PackageWriter::Content(const void *data, size_t size) {
    if (archive_write_data(m_archive.get(), data, size) != static_cast<la_ssize_t>(size)) {
        const char *reason = archive_error_string(m_archive.get());
        throw SiteError("cannot write " + m_package + ": " + (reason ? reason : "a file grew while it was packed"));
    }
}

void PackageWriter::AddTree(const fs::path &source, const std::string &name) {
    if (!base::IsUtf8(name)) {
        throw SiteError(source.string() + ": the name is not UTF-8; rename it");
    }
    if (!delivery::SplitEntryPath(name)) {
        throw SiteError(source.string() + " is nested too deeply and would be refused; use fewer folders");
    }
    struct stat status;
    if (lstat(source.c_str(), &status) != 0) {
        ThrowSystemError("cannot pack", source);
    }
    if (S_ISDIR(status.st_mode)) {
        AddFolder(source, name);
    } else if (S_ISLNK(status.st_mode)) {
        AddLink(source, name);
    } else if (S_ISREG(status.st_mode)) {
        AddFile(source, name, status);
    } else {
        throw SiteError(source.string() + " is neither file, folder nor link; take it out of the component");
    }
}

void PackageWriter::AddFolder(const fs::path &source, const std::string &name) {
    Header(name + "/", AE_IFDIR, 0755, 0);
    std::vector<std::string> names;
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(source, error)) {
        names.push_back(entry.path().filename());
    }
    if (error) {
        throw SiteError("cannot read " + source.string() + ": " + error.message());
    }
    std::sort(names.begin(), names.end());
    for (const std::string &child : names) {
        AddTree(source / child, name + "/" + child);
    }
}

void PackageWriter::AddFile(const fs::path &source, const std::string &name, const struct stat &status) {
    const ScopedFd file(open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file.valid()) {
        ThrowSystemError("cannot read", source);
    }
    std::uint64_t left = static_cast<std::uint64_t>(status.st_size);
    Header(name, AE_IFREG, (status.st_mode & S_IXUSR) ? 0755 : 0644, left);
    std::array<char, 65536> block;
    for (ssize_t count; left > 0; left -= static_cast<std::uint64_t>(count)) {
        count = read(file.get(), block.data(), std::min<std::uint64_t>(block.size(), left));
        if (count < 0) {
            ThrowSystemError("cannot read", source);
        }
        if (count == 0) {
            throw SiteError(source.string() + " shrank while it was packed; pack when nothing writes to the component");
        }
        Content(block.data(), static_cast<size_t>(count));
    }
    m_result.unpackedSize += static_cast<std::uint64_t>(status.st_size);
}

void PackageWriter::AddLink(const fs::path &source, const std::string &name) {
    const std::string target = fs::read_symlink(source);
    const auto path = delivery::SplitEntryPath(name);
    if (!path || !delivery::LinkStaysInside(path->size() - 1, target)) {
        throw SiteError(source.string() + " links to " + target +
                        ", outside the component, and would be refused; make it a relative link or a file");
    }
    if (!m_options.linksAsFiles) {
        Header(name, AE_IFLNK, 0777, 0, &target);
        return;
    }
    if (target.size() > kLongestLinkFile || target.find('\n') != std::string::npos) {
        throw SiteError(source.string() + ": the link's target is too long or has a line end; pack it as a link");
    }
    if (!IsMended(name)) {
        m_result.warnings.push_back(name + " is no link that the launcher mends; it stays a plain file");
    }
    Header(name, AE_IFREG, 0644, target.size());
    Content(target.data(), target.size());
    m_result.unpackedSize += target.size();
}

void PackageWriter::Close() {
    Demand(archive_write_close(m_archive.get()));
}

} // namespace

const std::vector<std::string> &PackageFormats() {
    static const std::vector<std::string> formats = {"tar.gz", "tar.zst", "tar.xz", "zip"};
    return formats;
}

PackResult Pack(const fs::path &component, const fs::path &package, const PackOptions &options) {
    if (std::find(PackageFormats().begin(), PackageFormats().end(), options.format) == PackageFormats().end()) {
        throw SiteError("unknown package format " + options.format + "; use tar.gz, tar.zst, tar.xz or zip");
    }
    const fs::path path = fs::absolute(component).lexically_normal();
    const fs::path source = path.has_filename() ? path : path.parent_path();
    if (fs::is_symlink(fs::symlink_status(source))) {
        throw SiteError(component.string() + " is a link; name the component itself");
    }
    const base::ScopedUtf8Locale utf8;
    if (!utf8) {
        throw SiteError("this system has no locale C.UTF-8, which names in packages need");
    }
    PackageWriter writer(package, options);
    writer.AddTree(source, source.filename());
    writer.Close();
    return writer.Result();
}

} // namespace lumsite
