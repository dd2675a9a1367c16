// SHA-256 of what is installed.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace base {

// Lower-case hex; empty when the file cannot be read to its end. Any thread.
std::string Sha256OfFile(const std::filesystem::path &file);
std::string Sha256OfText(std::string_view text);

} // namespace base
