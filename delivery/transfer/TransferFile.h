// The file that a transfer writes to: made new (never one that is there already), readable by its owner only, and not
// handed down to started programs; or one that is open already and not this object's. Nothing of it is kept in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace delivery {

class TransferFile {
public:
    explicit TransferFile(std::filesystem::path path) : m_path(std::move(path)) {}
    ~TransferFile(); // removes the file unless Keep succeeded
    TransferFile(const TransferFile &) = delete;
    TransferFile &operator=(const TransferFile &) = delete;

    // From now on writes to this file instead, behind its first `size` bytes. It must stay open, and it stays in any
    // case. Answers 0 or an errno, as the others do.
    int GoOnWith(const std::filesystem::path &path, int descriptor, std::uint64_t size);

    // These answer 0, or the errno of what failed. Write makes the file when there is none yet.
    int Write(const char *data, std::size_t size);
    int Restart(); // empty again
    int Keep();    // complete: closed, and left where it is (an empty file is made when nothing was written)

    std::uint64_t size() const {
        return m_size;
    }
    const std::filesystem::path &path() const {
        return m_path;
    }

private:
    int Open();

    std::filesystem::path m_path;
    std::uint64_t m_size = 0;
    int m_file = -1;
    bool m_own = true; // made by this object
};

} // namespace delivery
