// Writes the files by which the browsers find the installed program for all users of a machine, for the distribution's
// package: hostmanifests FOLDER PROGRAM. FOLDER stands for the machine's root; it also gets the list of those files
// that are the administrator's to change ("conffiles").
#include <cstdio>
#include <fstream>

#include "host/browser/BrowserHosts.h"

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fputs("usage: hostmanifests FOLDER PROGRAM\n", stderr);
        return 2;
    }
    const std::filesystem::path root = argv[1];
    std::filesystem::create_directories(root);
    std::ofstream conffiles(root / "conffiles");
    for (const lumhost::BrowserHost &host : lumhost::SystemBrowserHosts(root / "root")) {
        if (const auto written = host.Write(argv[2]); !written) {
            std::fprintf(stderr, "%s\n", written.error().text.c_str());
            return 1;
        }
        const std::filesystem::path place = "/" / host.file.lexically_relative(root / "root");
        if (place.native().starts_with("/etc/")) {
            conffiles << place.native() << '\n';
        }
    }
    return conffiles.flush() ? 0 : 1;
}
