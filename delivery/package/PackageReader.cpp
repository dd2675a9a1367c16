#include "delivery/package/PackageReader.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/QuickDigest.h"
#include "base/Text.h"
#include "delivery/package/Compression.h"
#include "delivery/package/ZipTable.h"

namespace delivery {

namespace {

constexpr std::size_t kReadBlock = 1 << 18;

// The compressions whose memory is bounded by their format; Decompressor does the others.
void SupportFilters(archive *archive) {
    for (const auto filter : {archive_read_support_filter_gzip, archive_read_support_filter_bzip2,
                              archive_read_support_filter_lz4, archive_read_support_filter_compress}) {
        filter(archive);
    }
}

// Everything that libarchive reads by itself. Not mtree, whose files' contents come from elsewhere on the disk, nor the
// kinds that accept any file as an archive of one file.
void SupportFormats(archive *archive) {
    for (const auto format :
         {archive_read_support_format_tar, archive_read_support_format_zip, archive_read_support_format_7zip,
          archive_read_support_format_cpio, archive_read_support_format_xar, archive_read_support_format_iso9660,
          archive_read_support_format_cab, archive_read_support_format_rar, archive_read_support_format_rar5,
          archive_read_support_format_lha}) {
        format(archive);
    }
}

// 0, or the errno of what failed.
int WriteAt(int file, const char *data, std::size_t size, std::uint64_t place) {
    while (size > 0) {
        const ssize_t written = pwrite(file, data, size, static_cast<off_t>(place));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return errno;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
        place += static_cast<std::uint64_t>(written);
    }
    return 0;
}

// A file's space, asked for ahead of what is written: that spares the file system a decision for each block. Where it
// cannot be had, writing is tried all the same.
class SpaceAhead {
public:
    SpaceAhead(int file, std::uint64_t whole) : m_file(file), m_whole(whole < kWorthAsking ? 0 : whole) {}

    void Reach(std::uint64_t size) {
        if (size > m_reserved && m_reserved < m_whole) {
            const std::uint64_t length = std::min(m_whole - m_reserved, kMost);
            const bool done =
                fallocate(m_file, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(m_reserved), static_cast<off_t>(length)) == 0;
            m_reserved = done ? m_reserved + length : m_whole;
        }
    }

private:
    static constexpr std::uint64_t kWorthAsking = 1 << 16;
    // What an archive that lies about a size takes beyond what it brings.
    static constexpr std::uint64_t kMost = 64 << 20;

    const int m_file;
    const std::uint64_t m_whole;
    std::uint64_t m_reserved = 0;
};

} // namespace

PackageReader::PackageReader(int package, std::uint64_t maxWindow) : m_file(package), m_maxWindow(maxWindow) {
    struct stat info;
    if (fstat(m_file, &info) != 0 || lseek(m_file, 0, SEEK_SET) != 0) {
        throw UnpackFailure{kUnpackNoPackage, "the package cannot be read: " + std::generic_category().message(errno)};
    }
    if (!S_ISREG(info.st_mode)) {
        throw UnpackFailure{kUnpackNoPackage, "the package is not a regular file"};
    }
    if (info.st_size == 0) {
        throw UnpackFailure{kUnpackNoArchive, "the package is empty"};
    }
    m_fileSize = static_cast<std::uint64_t>(info.st_size);
    m_archive.reset(archive_read_new());
    if (!m_archive) {
        throw std::bad_alloc();
    }
    Open();
}

void PackageReader::Open() {
    SupportFormats(m_archive.get());
    std::array<char, 16> head{};
    const ssize_t got = pread(m_file, head.data(), head.size(), 0);
    const auto compression = CompressionOf({head.data(), got > 0 ? static_cast<std::size_t>(got) : 0});
    m_decompressor = Decompressor::Make(compression, m_maxWindow);
    int result = ARCHIVE_OK;
    if (m_decompressor) {
        m_input = std::make_unique_for_overwrite<char[]>(kReadBlock);
        result = archive_read_open(m_archive.get(), this, nullptr, ReadCallback, nullptr);
    } else {
        SupportFilters(m_archive.get());
        result = archive_read_open_fd(m_archive.get(), m_file, kReadBlock);
    }
    if (result != ARCHIVE_OK) {
        throw Damaged();
    }
}

la_ssize_t PackageReader::ReadCallback(archive *archive, void *self, const void **block) {
    auto &reader = *static_cast<PackageReader *>(self);
    std::string_view out;
    if (!reader.Decompress(out)) {
        archive_set_error(archive, EINVAL, "%s", reader.m_failure->reason.c_str());
        return -1;
    }
    *block = out.data();
    return static_cast<la_ssize_t>(out.size());
}

bool PackageReader::Decompress(std::string_view &out) {
    while (!m_failure) {
        if (m_rest.empty() && !m_inputEnded) {
            const ssize_t got = read(m_file, m_input.get(), kReadBlock);
            if (got < 0) {
                m_failure = UnpackFailure{kUnpackNoPackage,
                                          "the package cannot be read: " + std::generic_category().message(errno)};
                break;
            }
            m_rest = {m_input.get(), static_cast<std::size_t>(got)};
            m_inputEnded = got == 0;
        }
        switch (m_decompressor->Run(m_rest, m_inputEnded, out)) {
        case Decompressor::Result::More:
            break;
        case Decompressor::Result::Damaged:
            m_failure = UnpackFailure{kUnpackDamaged, "the archive is damaged: its compressed data is not valid"};
            break;
        case Decompressor::Result::TooLarge:
            m_failure =
                UnpackFailure{kUnpackTooLarge, "unpacking takes more than the " + std::to_string(m_maxWindow >> 20) +
                                                   " MiB of memory that are allowed"};
            break;
        case Decompressor::Result::NoMemory:
            m_failure = MemoryFailure();
            break;
        }
        if (!out.empty() || (m_inputEnded && !m_failure)) {
            return true; // what came before a failure is still good
        }
    }
    return false;
}

std::string PackageReader::Detail() const {
    const char *text = archive_error_string(m_archive.get());
    return text ? text : "no reason is known";
}

UnpackFailure PackageReader::Damaged() const {
    if (m_failure) {
        return *m_failure;
    }
    const std::string detail = Detail();
    switch (archive_errno(m_archive.get())) {
    case EIO:
        return {kUnpackNoPackage, "the package cannot be read: " + detail};
    case ENOMEM:
        return MemoryFailure();
    default:
        break;
    }
    if (!m_started && detail.starts_with("Unrecognized archive format")) {
        return {kUnpackNoArchive, "the package is not an archive of a known kind"};
    }
    return {kUnpackDamaged, "the archive is damaged: " + detail};
}

// No publisher compresses twice; it would only serve to hide how much memory the inner one takes.
void PackageReader::CheckNesting() const {
    if (archive_filter_count(m_archive.get()) > 2) { // the last is the file itself
        throw UnpackFailure{kUnpackNoArchive, "the package is compressed more than once"};
    }
}

// libarchive drops those entries of a zip file's table that point to an earlier one's data.
void PackageReader::CheckTable() const {
    if ((archive_format(m_archive.get()) & ARCHIVE_FORMAT_BASE_MASK) != ARCHIVE_FORMAT_ZIP) {
        return;
    }
    const std::optional<std::uint64_t> listed = ZipTableCount(m_file, m_fileSize);
    const auto read = static_cast<std::uint64_t>(archive_file_count(m_archive.get()));
    if (listed && *listed != read) {
        throw UnpackFailure{kUnpackDamaged, "the archive is damaged: its table lists " + std::to_string(*listed) +
                                                " entries, but it has data for " + std::to_string(read)};
    }
}

std::optional<PackageEntry> PackageReader::Next() {
    const int result = archive_read_next_header(m_archive.get(), &m_entry);
    if (result == ARCHIVE_EOF) {
        CheckTable();
        return std::nullopt;
    }
    if (result != ARCHIVE_OK && result != ARCHIVE_WARN) { // a warning is about what is not used here, such as an owner
        throw Damaged();
    }
    if (!std::exchange(m_started, true)) {
        CheckNesting();
    }
    const char *const path = archive_entry_pathname(m_entry);
    if (!path) {
        throw UnpackFailure{kUnpackDamaged, "the archive is damaged: an entry has no name that can be read"};
    }
    if (archive_entry_is_encrypted(m_entry)) {
        throw UnpackFailure{kUnpackDamaged, "the archive asks for a password"};
    }
    const bool executable = archive_entry_perm(m_entry) & 0111;
    if (const char *target = archive_entry_hardlink(m_entry)) {
        return PackageEntry{PackageEntry::Kind::HardLink, path, target, executable};
    }
    switch (archive_entry_filetype(m_entry)) {
    case AE_IFREG:
        return PackageEntry{PackageEntry::Kind::File, path, {}, executable};
    case AE_IFDIR:
        return PackageEntry{PackageEntry::Kind::Folder, path, {}, false};
    case AE_IFLNK: {
        const char *const target = archive_entry_symlink(m_entry);
        return PackageEntry{PackageEntry::Kind::Link, path, target ? target : "", false};
    }
    default:
        throw UnpackFailure{kUnpackRefusedEntry,
                            "the entry " + base::Quoted(path) + " is not a file, a folder or a link"};
    }
}

Copied PackageReader::CopyTo(int file, const std::function<void(std::uint64_t)> &admit) {
    const auto whole = static_cast<std::uint64_t>(std::max<la_int64_t>(archive_entry_size(m_entry), 0));
    std::uint64_t size = 0;
    SpaceAhead space(file, archive_entry_sparse_count(m_entry) > 0 ? 0 : whole);
    const auto grow = [&](std::uint64_t reached) {
        if (reached > size) {
            admit(reached - size);
            size = reached;
        }
    };
    base::QuickDigest digest;
    bool inOrder = true;
    const void *data = nullptr;
    std::size_t length = 0;
    la_int64_t place = 0;
    int result;
    while ((result = archive_read_data_block(m_archive.get(), &data, &length, &place)) == ARCHIVE_OK) {
        if (place < 0) {
            throw UnpackFailure{kUnpackDamaged, "the archive is damaged: a file begins before its beginning"};
        }
        inOrder = inOrder && static_cast<std::uint64_t>(place) == size;
        digest.Add({static_cast<const char *>(data), length});
        grow(static_cast<std::uint64_t>(place) + length);
        space.Reach(size);
        if (const int error =
                WriteAt(file, static_cast<const char *>(data), length, static_cast<std::uint64_t>(place))) {
            throw WriteFailure(error, archive_entry_pathname(m_entry));
        }
    }
    if (result != ARCHIVE_EOF) { // a warning, too: that is a wrong checksum
        throw Damaged();
    }
    if (whole > size && !archive_entry_hardlink(m_entry)) {
        inOrder = false;
        grow(whole); // it ends in a hole
        if (ftruncate(file, static_cast<off_t>(whole)) != 0) {
            throw WriteFailure(errno, archive_entry_pathname(m_entry));
        }
    }
    return {size, inOrder ? std::optional(digest.Value()) : std::nullopt};
}

std::uint64_t PackageReader::LeastSize() const {
    if (m_decompressor || archive_filter_count(m_archive.get()) > 1) {
        return UnpackedSize(m_file).value_or(m_fileSize);
    }
    // A zip file has a table of all its entries; the others would have to be unpacked to find theirs.
    if ((archive_format(m_archive.get()) & ARCHIVE_FORMAT_BASE_MASK) != ARCHIVE_FORMAT_ZIP) {
        return 0;
    }
    const off_t place = lseek(m_file, 0, SEEK_CUR);
    std::uint64_t sum = 0;
    {
        PackageReader table(m_file, m_maxWindow);
        while (table.Next()) {
            sum += static_cast<std::uint64_t>(std::max<la_int64_t>(archive_entry_size(table.m_entry), 0));
        }
    }
    lseek(m_file, place, SEEK_SET);
    return sum;
}

} // namespace delivery
