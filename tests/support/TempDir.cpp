#include "tests/support/TempDir.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <iterator>

TempDir::TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "lumtest.XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        ADD_FAILURE() << "cannot make a temporary folder like " << pattern;
        std::abort();
    }
    m_path = std::filesystem::canonical(pattern);
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TempDir::Write(std::string_view name, std::string_view content) const {
    const std::filesystem::path file = m_path / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));
    return file.string();
}

std::string TempDir::WriteBundle(const std::string &name, const std::string &version) const {
    Write(name + "/Contents/Info.plist",
          R"(<?xml version="1.0"?><plist version="1.0"><dict><key>CFBundleVersion</key><string>)" + version +
              "</string></dict></plist>\n");
    return *this / name;
}

std::string ReadFile(const std::filesystem::path &path) {
    std::ifstream stream(path, std::ios::binary);
    EXPECT_TRUE(stream) << "cannot read " << path;
    return {std::istreambuf_iterator<char>(stream), {}};
}
