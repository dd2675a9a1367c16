#include "delivery/transfer/TransferFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <limits>
#include <system_error>

namespace delivery {

TransferFile::~TransferFile() {
    if (m_file >= 0) {
        close(m_file);
        unlink(m_path.c_str());
    }
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
    // Some file systems report a full disk only here.
    const int result = close(m_file) == 0 ? 0 : errno;
    m_file = -1;
    if (result != 0) {
        unlink(m_path.c_str());
    }
    return result;
}

} // namespace delivery
