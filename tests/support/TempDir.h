// A temporary folder that lives as long as the object.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::filesystem::path &path() const {
        return m_path;
    }
    // Path of `name` in the folder, as text.
    std::string operator/(std::string_view name) const {
        return (m_path / name).string();
    }
    // Writes a file (and the folders on its way) and returns its path.
    std::string Write(std::string_view name, std::string_view content) const;
    // Writes the Info.plist of a bundle of this version; returns the bundle's path.
    std::string WriteBundle(const std::string &name, const std::string &version) const;

private:
    std::filesystem::path m_path;
};

// The whole file; fails the running test when it cannot be read.
std::string ReadFile(const std::filesystem::path &path);
