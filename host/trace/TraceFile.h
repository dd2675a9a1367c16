// The file of --log: every trace line, readable by its owner only.
#pragma once

#include <filesystem>

#include "base/Result.h"
#include "base/ScopedFile.h"
#include "host/trace/TraceCollector.h"

namespace lumhost {

class TraceFile {
public:
    // Creates the file, or empties the one that is there.
    base::Result<void> Open(const std::filesystem::path &file);
    // Any thread, one at a time. Does nothing before Open.
    void Add(const TraceLine &line);

private:
    base::ScopedFile m_file;
};

} // namespace lumhost
