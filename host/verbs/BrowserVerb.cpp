#include "host/verbs/BrowserVerb.h"

#include <cstdio>
#include <cstdlib>
#include <map>

#include "host/browser/BrowserHosts.h"
#include "host/frontend/Complain.h"
#include "base/Processes.h"
#include "base/Text.h"

namespace lumhost {

namespace {

using Scope = CommandLine::Scope;
using State = BrowserHost::State;

void Tell(const BrowserHost &host, const char *what) {
    std::printf("%-9s %-14s %s\n", host.browser.c_str(), what, base::OneLine(host.file.string()).c_str());
}

void TellExtension() {
    const std::filesystem::path folder = OwnPart("browser-extension");
    if (folder.empty()) {
        Complain("the browsers' extension did not come with this program; install the program as a whole");
        return;
    }
    std::printf(
        "\nThe browser needs the extension, too. It is in %s.\n"
        "  Chromium, Chrome: open chrome://extensions, switch on \"Developer mode\", press \"Load unpacked\" and\n"
        "                    choose that folder.\n"
        "  Firefox:          open about:debugging#/runtime/this-firefox, press \"Load Temporary Add-on\" and\n"
        "                    choose the manifest.json in that folder.\n",
        base::OneLine(folder.string()).c_str());
}

std::vector<BrowserHost> Hosts(Scope scope, const Folders &folders) {
    std::vector<BrowserHost> hosts;
    if (scope != Scope::System) {
        hosts = UsersBrowserHosts(folders);
    }
    if (scope != Scope::User) {
        for (BrowserHost &host : SystemBrowserHosts("/")) {
            hosts.push_back(std::move(host));
        }
    }
    return hosts;
}

int Status(const std::vector<BrowserHost> &hosts) {
    std::map<std::string, bool> found;
    for (const BrowserHost &host : hosts) {
        const State state = host.Look(base::OwnProgram());
        Tell(host, state == State::Current ? "installed" : state == State::Missing ? "not installed" : "another one");
        found[host.browser] = found[host.browser] || state == State::Current;
    }
    for (const auto &[browser, is] : found) {
        if (!is) {
            Complain(browser + " does not find this program. Type: lumhost browser install");
            return EXIT_FAILURE;
        }
    }
    TellExtension();
    return EXIT_SUCCESS;
}

// Writes or removes; goes on after a failure.
int Change(const std::vector<BrowserHost> &hosts, bool install) {
    int status = EXIT_SUCCESS;
    for (const BrowserHost &host : hosts) {
        const State wanted = install ? State::Current : State::Missing;
        const bool is = host.Look(base::OwnProgram()) == wanted;
        std::string error;
        if (is || (install ? host.Write(base::OwnProgram(), error) : host.Remove(error))) {
            Tell(host, install ? (is ? "is installed" : "installed") : is ? "was not there" : "removed");
            continue;
        }
        Complain(base::OneLine(host.file.string()) + ": " + error +
                 (host.forAll ? " (for all users only root can do that)" : ""));
        status = EXIT_FAILURE;
    }
    if (install && status == EXIT_SUCCESS) {
        TellExtension();
    }
    return status;
}

} // namespace

int DoBrowser(const CommandLine &line, const Folders &folders) {
    const std::string &what = line.operands.front();
    if (what == "status") {
        return Status(Hosts(line.scope, folders));
    }
    const Scope scope = line.scope == Scope::Unsaid ? Scope::User : line.scope;
    return Change(Hosts(scope, folders), what == "install");
}

} // namespace lumhost
