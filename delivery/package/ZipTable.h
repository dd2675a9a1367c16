#pragma once

#include <cstdint>
#include <optional>

namespace delivery {

// How many entries the table at the end of an open zip file of `size` bytes lists (APPNOTE.TXT 6.3.10, 4.3.14 and
// 4.3.16). Nothing when no such table is found.
std::optional<std::uint64_t> ZipTableCount(int file, std::uint64_t size);

} // namespace delivery
