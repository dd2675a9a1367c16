#include "delivery/transfer/TransferFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <limits>
#include <system_error>

namespace delivery {

TransferFile::~TransferFile() {
    if (m_file >= 0 && m_own) {
        close(m_file);
        unlink(m_path.c_str());
    }
}

int TransferFile::GoOnWith(const std::filesystem::path &path, int descriptor, std::uint64_t size) {
    m_own = false;
    m_file = descriptor;
    m_path = path;
    m_size = size;
    return ftruncate(descriptor, static_cast<off_t>(size)) == 0 && lseek(descriptor, 0, SEEK_END) >= 0 ? 0 : errno;
}

int TransferFile::Open() {
    if (m_file >= 0) {
        return 0;
    }
    m_file = open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    return m_file >= 0 ? 0 : errno;
}

int TransferFile::Write(const char *data, std::size_t size) {
    if (const int error = Open()) {
        return error;
    }
    while (size > 0) {
        const ssize_t written = write(m_file, data, size);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
        m_size += static_cast<std::uint64_t>(written);
    }
    return 0;
}

int TransferFile::Restart() {
    if (m_file >= 0 && (ftruncate(m_file, 0) != 0 || lseek(m_file, 0, SEEK_SET) != 0)) {
        return errno;
    }
    m_size = 0;
    return 0;
}

int TransferFile::Keep() {
    if (const int error = Open()) {
        return error;
    }
    if (!m_own) {
        return 0;
    }
    // Some file systems report a full disk only here.
    const int result = close(m_file) == 0 ? 0 : errno;
    m_file = -1;
    if (result != 0) {
        unlink(m_path.c_str());
    }
    return result;
}

} // namespace delivery
