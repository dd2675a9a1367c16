// lumunpack: the process that unpacks packages. lumhost starts it; it is of no use otherwise.
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "base/Text.h"
#include "delivery/worker/UnpackService.h"

int main(int argc, char **argv) {
    const auto control = argc == 2 ? base::ReadNumber<int>(argv[1]) : std::nullopt;
    if (!control) {
        std::fputs("lumunpack is started by lumhost, which says through which descriptor it asks\n", stderr);
        return EXIT_FAILURE;
    }
    prctl(PR_SET_NAME, "lumunpack"); // it was executed by a descriptor
    close_range(static_cast<unsigned>(*control) + 1, ~0U, 0);
    return delivery::ServeUnpacking(*control);
}
