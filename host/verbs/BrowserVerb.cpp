#include "host/verbs/BrowserVerb.h"

#include <cstdio>
#include <cstdlib>
#include <map>

#include "base/Processes.h"
#include "base/Text.h"
#include "host/Process.h"
#include "host/browser/BrowserHosts.h"

namespace lumhost {

namespace {

using State = BrowserHost::State;

void Tell(const BrowserHost &host, const char *what) {
    std::printf("%-9s %-17s %s\n", host.browser.c_str(), what, base::OneLine(host.file.string()).c_str());
}

void TellExtension() {
    const std::filesystem::path folder = OwnPart(kBrowserExtension);
    if (folder.empty()) {
        Complain("the browsers' extension is missing beside this program; install the package again");
        return;
    }
    std::printf(
        "\nThe browser also needs the extension, which is in %s.\n"
        "  Chromium, Chrome: open chrome://extensions, switch on \"Developer mode\", press \"Load unpacked\" and\n"
        "                    choose that folder.\n"
        "  Firefox:          open about:debugging#/runtime/this-firefox, press \"Load Temporary Add-on\" and\n"
        "                    choose the manifest.json in that folder.\n",
        base::OneLine(folder.string()).c_str());
}

std::vector<BrowserHost> Hosts(bool user, bool system, const Folders &folders) {
    std::vector<BrowserHost> hosts = user ? UsersBrowserHosts(folders) : std::vector<BrowserHost>();
    if (system) {
        for (BrowserHost &host : SystemBrowserHosts("/")) {
            hosts.push_back(std::move(host));
        }
    }
    return hosts;
}

const char *NameOf(State state) {
    switch (state) {
    case State::Missing:
        return "not installed";
    case State::Current:
        return "installed";
    case State::Other:
        return "another program";
    }
    return "";
}

int Status(const std::vector<BrowserHost> &hosts) {
    std::map<std::string, bool> found;
    for (const BrowserHost &host : hosts) {
        const State state = host.Look(base::OwnProgram());
        Tell(host, NameOf(state));
        found[host.browser] = found[host.browser] || state == State::Current;
    }
    for (const auto &[browser, isFound] : found) {
        if (!isFound) {
            Complain(browser + " does not find this program. Type: lumhost browser install");
            return EXIT_FAILURE;
        }
    }
    TellExtension();
    return EXIT_SUCCESS;
}

// Goes on after a failure.
int Install(const std::vector<BrowserHost> &hosts) {
    int status = EXIT_SUCCESS;
    for (const BrowserHost &host : hosts) {
        const bool wasCurrent = host.Look(base::OwnProgram()) == State::Current;
        if (const base::Result<void> written = host.Write(base::OwnProgram()); !written) {
            Complain(written.error().text + (host.forAll ? " (needs root)" : ""));
            status = EXIT_FAILURE;
            continue;
        }
        Tell(host, wasCurrent ? "already installed" : "installed");
    }
    if (status == EXIT_SUCCESS) {
        TellExtension();
    }
    return status;
}

// Likewise.
int Uninstall(const std::vector<BrowserHost> &hosts) {
    int status = EXIT_SUCCESS;
    for (const BrowserHost &host : hosts) {
        const bool wasMissing = host.Look(base::OwnProgram()) == State::Missing;
        if (const base::Result<void> removed = host.Remove(); !removed) {
            Complain(removed.error().text + (host.forAll ? " (needs root)" : ""));
            status = EXIT_FAILURE;
            continue;
        }
        Tell(host, wasMissing ? "was not installed" : "removed");
    }
    return status;
}

} // namespace

int DoBrowser(const CommandLine &line, const Folders &folders) {
    const bool unsaid = !line.forUser && !line.forSystem;
    if (line.verb == CommandLine::Verb::BrowserStatus) {
        return Status(Hosts(line.forUser || unsaid, line.forSystem || unsaid, folders));
    }
    const std::vector<BrowserHost> hosts = Hosts(line.forUser || unsaid, line.forSystem, folders);
    return line.verb == CommandLine::Verb::BrowserInstall ? Install(hosts) : Uninstall(hosts);
}

} // namespace lumhost
