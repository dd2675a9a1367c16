// The file that a transfer writes to: made new (never one that is there already), readable by its owner only, and not
// handed down to started programs. Nothing of it is kept in memory.
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
};

} // namespace delivery
