#include "host/installed/Removal.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>

#include "host/installed/ComponentState.h"
#include "host/installed/Damage.h"
#include "host/installed/Installed.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

// The component, and a library's file under its versioned name.
void AddPaths(const InstalledComponent &component, std::vector<fs::path> &paths) {
    paths.push_back(component.folder / component.name);
    for (const InstalledFile &file : component.files) {
        if (IsPlainName(file.path) && file.path != component.name) {
            paths.push_back(component.folder / file.path);
        }
    }
}

void RemoveTree(const fs::path &path, bool counts, Removal &removal) {
    std::error_code error;
    if (fs::remove_all(path, error) > 0 && !error && counts) {
        ++removal.removed;
    }
    if (error) {
        removal.errors.push_back("cannot remove " + path.string() + ": " + error.message());
    }
}

} // namespace

namespace {

using IsMeant = std::function<bool(const InstalledComponent &)>;

std::string WhatRuns(const InstalledComponent &component) {
    const std::vector<std::string> running = RunningFrom(component.path());
    return running.empty() ? ""
                           : component.name + " was not removed, because " + running.front() + " runs: end it first";
}

// `unrecorded`: what is removed, too, though nothing is known of it.
Removal RemoveThose(const Folders &folders, const IsMeant &isMeant, const std::vector<InstalledComponent> &unrecorded) {
    Removal removal;
    const auto changed = Installed(folders).Change([&](std::vector<InstalledComponent> &components) {
        std::vector<InstalledComponent> meant = unrecorded;
        std::ranges::copy_if(components, std::back_inserter(meant), isMeant);
        for (const InstalledComponent &component : meant) {
            if (const std::string running = WhatRuns(component); !running.empty()) {
                removal.errors.push_back(running);
                continue;
            }
            std::vector<fs::path> paths;
            AddPaths(component, paths);
            const std::size_t errors = removal.errors.size();
            for (const fs::path &path : paths) {
                RemoveTree(path, path == component.path(), removal);
            }
            if (removal.errors.size() == errors) {
                std::erase_if(components,
                              [&](const InstalledComponent &other) { return other.path() == component.path(); });
            }
        }
        return !meant.empty();
    });
    if (!changed) {
        removal.errors.push_back(changed.error().text);
    }
    return removal;
}

} // namespace

Removal RemoveComponents(const Folders &folders, const std::string &name) {
    if (!IsPlainName(name)) {
        return {};
    }
    std::vector<InstalledComponent> unrecorded;
    for (const ComponentState &state : ComponentStates(folders)) {
        if (!state.recorded && state.name == name) {
            unrecorded.push_back({.folder = state.folder, .name = name, .files = {}});
        }
    }
    return RemoveThose(
        folders, [&](const InstalledComponent &component) { return component.name == name; }, unrecorded);
}

Removal RemoveComponentsOf(const Folders &folders, const std::string &site) {
    return RemoveThose(folders,
                       [&](const InstalledComponent &component) {
                           return component.source.site == site || component.source.page == site;
                       },
                       {});
}

Removal RemoveEverything(const Folders &folders) {
    Removal removal;
    for (const ComponentState &state : ComponentStates(folders)) {
        if (const std::string running = WhatRuns({.folder = state.folder, .name = state.name, .files = {}});
            !running.empty()) {
            removal.errors.push_back(running);
        }
    }
    if (!removal.errors.empty()) {
        return removal;
    }
    for (const ComponentState &state : ComponentStates(folders)) {
        const Removal one = RemoveComponents(folders, state.name);
        removal.removed += one.removed;
        removal.errors.insert(removal.errors.end(), one.errors.begin(), one.errors.end());
    }
    RemoveTree(folders.installed, false, removal);
    if (removal.errors.empty()) {
        Installed(folders).RemoveFile();
        RemoveTree(folders.state, false, removal);
        RemoveTree(folders.cache, false, removal);
    }
    return removal;
}

} // namespace lumhost
