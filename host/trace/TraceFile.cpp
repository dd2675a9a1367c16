#include "host/trace/TraceFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/Files.h"

namespace lumhost {

base::Result<void> TraceFile::Open(const std::filesystem::path &file) {
    base::ScopedDescriptor descriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    struct stat status {};
    const bool usable =
        descriptor && fstat(descriptor.get(), &status) == 0 &&
        // One that exists may be readable by others; a terminal or a pipe is left as it is.
        (!S_ISREG(status.st_mode) || (fchmod(descriptor.get(), 0600) == 0 && ftruncate(descriptor.get(), 0) == 0));
    if (usable) {
        m_file.reset(fdopen(descriptor.get(), "w"));
    }
    if (!m_file) {
        return base::SystemFailure("cannot write " + file.string(), errno);
    }
    descriptor.Release();
    setvbuf(m_file.get(), nullptr, _IOLBF, 0); // the last lines matter most after a crash
    return {};
}

void TraceFile::Add(const TraceLine &line) {
    if (m_file) {
        std::fprintf(m_file.get(), "%s\n", FormatLine(line).c_str());
    }
}

} // namespace lumhost
