// A stream that is closed at the end of its scope.
#pragma once

#include <cstdio>
#include <memory>

namespace base {

struct FileCloser {
    void operator()(std::FILE *stream) const {
        std::fclose(stream);
    }
};
using ScopedFile = std::unique_ptr<std::FILE, FileCloser>;

} // namespace base
