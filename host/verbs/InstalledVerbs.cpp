#include "host/verbs/InstalledVerbs.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>

#include "base/Text.h"
#include "host/Process.h"
#include "host/installed/ComponentState.h"
#include "host/installed/InstallNotes.h"
#include "host/installed/Installed.h"
#include "host/installed/Removal.h"
#include "host/release/ReleaseState.h"
#include "host/trace/Redactor.h"
#include "host/verbs/ReleaseVerb.h"
#include "host/verbs/StartVerb.h"

namespace lumhost {

namespace {

bool IsDamaged(const ComponentState &state) {
    return state.recorded && !state.whole();
}

int Tell(const Removal &removal) {
    std::printf("removed: %u\n", removal.removed);
    for (const std::string &error : removal.errors) {
        Complain(error);
    }
    return removal.errors.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

void Add(const Removal &more, Removal &sum) {
    sum.removed += more.removed;
    sum.errors.insert(sum.errors.end(), more.errors.begin(), more.errors.end());
}

// The damaged components among those that were named, or all of them.
base::Result<std::vector<ComponentState>> Damaged(const std::vector<std::string> &names, const Folders &folders) {
    std::vector<ComponentState> damaged;
    std::set<std::string> known;
    for (ComponentState &state : ComponentStates(folders)) {
        known.insert(state.name);
        const bool isMeant = names.empty() || std::ranges::find(names, state.name) != names.end();
        if (isMeant && IsDamaged(state)) {
            damaged.push_back(std::move(state));
        }
    }
    for (const std::string &name : names) {
        if (!known.contains(name)) {
            return base::Fail(base::Quoted(name) + " is not installed; \"lumhost status\" lists what is");
        }
    }
    return damaged;
}

// Where to fetch these from, each source once. The Error is about those of which it is not known.
base::Result<std::set<InstalledSource>> SourcesOf(const std::vector<ComponentState> &damaged, const Folders &folders) {
    std::set<InstalledSource> sources;
    for (const InstalledComponent &component : Installed(folders).Components()) {
        const bool isMeant = std::ranges::any_of(damaged, [&](const ComponentState &state) {
            return state.name == component.name && state.folder == component.folder;
        });
        if (isMeant && component.source.site.empty()) {
            return base::Fail("it is not known where " + base::Quoted(component.name) +
                              " came from: type lumhost repair and the address of the page that uses it, or remove it");
        }
        if (isMeant) {
            sources.insert(component.source);
        }
    }
    return sources;
}

int ReportRepair(const std::vector<ComponentState> &before, const Folders &folders) {
    int status = EXIT_SUCCESS;
    for (const ComponentState &state : ComponentStates(folders)) {
        const bool wasDamaged = std::ranges::any_of(
            before, [&](const ComponentState &old) { return old.name == state.name && old.folder == state.folder; });
        if (wasDamaged && IsDamaged(state)) {
            Complain(state.name + " is still damaged; if " + state.site +
                     " no longer offers it, type: lumhost remove \"" + state.name + "\"");
            status = EXIT_FAILURE;
        } else if (wasDamaged) {
            std::printf("repaired: %s\n", base::OneLine(state.name).c_str());
        }
    }
    return status;
}

} // namespace

int ShowStatus(const CommandLine &line, const Folders &folders) {
    SettleInstallNotes(folders);
    const std::vector<ComponentState> states = ComponentStates(folders);
    std::fputs(
        (line.json ? JsonListing(states, UserName()) : Listing(states, folders) + ReleaseListing(PinsOf(folders).All()))
            .c_str(),
        stdout);
    if (std::ranges::none_of(states, IsDamaged)) {
        return EXIT_SUCCESS;
    }
    Complain("a component is damaged; to fetch it again, type: lumhost repair");
    return EXIT_FAILURE;
}

int Remove(const CommandLine &line, const Folders &folders) {
    SettleInstallNotes(folders);
    Removal sum;
    if (line.all) {
        Add(RemoveEverything(folders), sum);
    }
    for (const std::string &name : line.operands) {
        const Removal removal = RemoveComponents(folders, name);
        Add(removal, sum);
        if (removal.removed == 0 && removal.errors.empty()) {
            sum.errors.push_back(base::Quoted(name) + " is not installed; \"lumhost status\" lists what is");
        }
    }
    return Tell(sum);
}

int RemoveOfSite(const std::string &site, const Folders &folders) {
    SettleInstallNotes(folders);
    return Tell(RemoveComponentsOf(folders, site));
}

int Repair(const CommandLine &line, const Folders &folders) {
    SettleInstallNotes(folders);
    if (line.operands.size() == 1 && IsPage(line.operands.front())) {
        return RepairPage(line, folders);
    }
    const auto damaged = Damaged(line.operands, folders);
    if (!damaged) {
        Complain(damaged.error().text);
        return EXIT_FAILURE;
    }
    if (damaged->empty()) {
        std::puts("nothing is damaged");
        return EXIT_SUCCESS;
    }
    const auto sources = SourcesOf(*damaged, folders);
    if (!sources) {
        Complain(sources.error().text);
        return EXIT_FAILURE;
    }
    for (const InstalledSource &source : *sources) {
        RepairFrom(source, line, folders);
    }
    return ReportRepair(*damaged, folders);
}

} // namespace lumhost
