// A site in a folder, and the example container run over it.
#pragma once

#include <string>

#include "tests/support/TempDir.h"
#include "tests/support/TestSite.h"

class ContainerSite {
public:
    // Makes a package of src/`name`, to be written before, and names it in the instruction file.
    void Publish(const std::string &name, const std::string &update = "version");

    // Runs the program `container` with the extension's code `extension` and a page that starts `component`; `more` are
    // further parameters. Returns what it printed; fails the test when its exit status is another one. There is no
    // window server.
    std::string Run(const std::string &container, const std::string &extension, const std::string &component,
                    const std::string &more, int status = 0);

    TempDir dir;

private:
    SiteIdentity m_identity = TestSite::MakeIdentity(dir, "www.kelvo.example");
    std::string m_lines;
    int m_count = 0;
};

// Where the extension puts components.
std::string InstallFolder();
