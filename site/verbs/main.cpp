#include <csignal>
#include <string>
#include <vector>

#include "site/verbs/Verbs.h"

int main(int argc, char **argv) {
    std::signal(SIGPIPE, SIG_IGN); // a reader that leaves is a failed write, not the end
    return lumsite::RunLumsite({argv + 1, argv + argc});
}
