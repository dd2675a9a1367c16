#include "host/verbs/DoctorUnpacking.h"

#include <fcntl.h>

#include <string>

#include "base/ScopedDescriptor.h"
#include "delivery/worker/UnpackWorker.h"
#include "host/Folders.h"

namespace lumhost {

namespace {

using base::Severity;

base::Finding Protection(const char *where, bool held, const char *good, const char *missing, const char *remedy) {
    if (held) {
        return {Severity::Good, where, good, ""};
    }
    return {Severity::Note, where, missing, remedy};
}

} // namespace

base::Findings ExamineUnpacking() {
    const base::ScopedDescriptor folder(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto has = delivery::UnpackWorker(OwnPart(delivery::kUnpackProgram)).Try(folder.get());
    if (!has) {
        return {{Severity::Error, "unpacking", has.error().text,
                 "no package can be installed without it: install the package lum again"}};
    }
    return {{Severity::Good, "unpacking", "in a process of its own", ""},
            Protection("unpacking, files", has->landlock > 0, "nothing outside its folder can be opened (Landlock)",
                       "not limited to its folder: this kernel has no Landlock",
                       "start Linux 5.19 or later with \"landlock\" in its list of security modules (lsm=)"),
            Protection("unpacking, system calls", has->systemCalls, "only those that it needs (seccomp)",
                       "not limited: there is no seccomp here",
                       "use a kernel with seccomp filters (CONFIG_SECCOMP_FILTER)"),
            Protection("unpacking, memory", has->memory, "limited", "not limited: /proc does not tell how much it has",
                       "mount /proc")};
}

} // namespace lumhost
