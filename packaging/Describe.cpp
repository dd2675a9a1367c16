// Writes what the table of a program's command line says of it, at build time: describe completion > FILE, or
// describe manual PAGE > FILE, where PAGE has the prose and the places for the tables (base::ManualPage). The build
// file names the program's table.
#include <cstdio>
#include <string_view>

#include "base/Files.h"
#include LUM_COMMANDS_HEADER

namespace {

int Write(const std::string &text) {
    return std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 2 && std::string_view(argv[1]) == "completion") {
        return Write(base::CompletionScript(LUM_COMMANDS()));
    }
    if (argc != 3 || std::string_view(argv[1]) != "manual") {
        std::fputs("usage: describe completion | describe manual PAGE\n", stderr);
        return 2;
    }
    const base::Result<std::string> page = base::ReadWhole(argv[2], 1 << 20);
    if (!page) {
        std::fprintf(stderr, "%s\n", page.error().text.c_str());
        return 1;
    }
    return Write(base::ManualPage(LUM_COMMANDS(), *page));
}
