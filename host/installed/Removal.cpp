#include "host/installed/Removal.h"

#include "host/installed/ComponentState.h"
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

void AddUnrecorded(const Folders &folders, const std::string &name, std::vector<fs::path> &paths) {
    for (const ComponentState &state : ComponentStates(folders)) {
        if (!state.recorded && state.name == name) {
            paths.push_back(state.folder / name);
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

Removal RemoveComponents(const Folders &folders, const std::string &name) {
    Removal removal;
    if (!IsPlainName(name)) {
        return removal;
    }
    const auto changed = Installed(folders).Change([&](std::vector<InstalledComponent> &components) {
        std::vector<fs::path> paths;
        for (const InstalledComponent &component : components) {
            if (component.name == name) {
                AddPaths(component, paths);
            }
        }
        AddUnrecorded(folders, name, paths);
        for (const fs::path &path : paths) {
            RemoveTree(path, path.filename() == name, removal);
        }
        std::erase_if(components, [&](const InstalledComponent &component) { return component.name == name; });
        return !paths.empty() && removal.errors.empty();
    });
    if (!changed) {
        removal.errors.push_back(changed.error().text);
    }
    return removal;
}

Removal RemoveEverything(const Folders &folders) {
    Removal removal;
    for (const ComponentState &state : ComponentStates(folders)) {
        const Removal one = RemoveComponents(folders, state.name);
        removal.removed += one.removed;
        removal.errors.insert(removal.errors.end(), one.errors.begin(), one.errors.end());
    }
    RemoveTree(folders.installed, false, removal);
    if (removal.errors.empty()) {
        Installed(folders).RemoveFile();
    }
    return removal;
}

} // namespace lumhost
