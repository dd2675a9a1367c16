// Runs another program for its answer.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"

namespace base {

// What the program `words[0]` (a path, or a name on PATH), started in `folder` with the other words as arguments,
// writes to its standard output when `input` is at its standard input; the two may hold any bytes. Its standard error
// is this process's. Waits for its end, however long that takes.
//
// Fails when it cannot be started (the code is an errno), when it ends with another status than 0 or by a signal
// (ECHILD), or when it writes more than `maxBytes` (EFBIG). Any thread.
Result<std::string> OutputOfProgram(const std::vector<std::string> &words, const std::filesystem::path &folder,
                                    std::string_view input, std::size_t maxBytes);

} // namespace base
