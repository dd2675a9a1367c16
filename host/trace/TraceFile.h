// The file that --log names: every trace line, for its owner only.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "host/trace/TraceCollector.h"

namespace lumhost {

class TraceFile {
public:
    // Makes the file anew. False, with the system's reason, when it cannot be written.
    bool Open(const std::filesystem::path &file, std::string *error);
    // Any thread, one at a time. Does nothing before Open.
    void Add(const TraceLine &line);

private:
    struct Close {
        void operator()(std::FILE *file) const {
            std::fclose(file);
        }
    };
    std::unique_ptr<std::FILE, Close> m_file;
};

} // namespace lumhost
