#include "host/installed/ComponentState.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <tuple>

#import <Foundation/Foundation.h>

#include "base/Digest.h"
#include "base/Text.h"
#import "base/objc/ScopedPool.h"
#include "host/installed/Installed.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

// The extension writes the application's name into these before it starts it.
constexpr const char *kWrittenTexts = "InfoPlist.strings";

enum class Fault { None, Missing, Changed };

Fault Check(const InstalledFile &file, const fs::path &folder) {
    std::error_code error;
    const fs::path path = folder / file.path;
    const fs::file_status status = fs::symlink_status(path, error);
    if (!fs::exists(status)) {
        return Fault::Missing;
    }
    if (fs::is_symlink(status)) {
        const std::string target = fs::read_symlink(path, error).string();
        // A link that arrived as a small file with its target in it, and was repaired.
        const bool same = file.target.empty() ? base::DigestOfText(target) == file.sha256 : target == file.target;
        return same ? Fault::None : Fault::Changed;
    }
    if (file.target.empty() && fs::is_regular_file(status) && path.filename() == kWrittenTexts) {
        return Fault::None;
    }
    const bool same = file.target.empty() && fs::is_regular_file(status) && fs::file_size(path, error) == file.size &&
                      !file.sha256.empty() && base::DigestOfFile(path).value_or("") == file.sha256;
    return same ? Fault::None : Fault::Changed;
}

// "2.1.3.4" of "libfoo-2.1.3.4.dylib".
std::string VersionInName(std::string_view name) {
    const std::size_t dash = name.rfind('-');
    const std::size_t end = name.rfind('.');
    if (dash == std::string_view::npos || end == std::string_view::npos || end < dash) {
        return {};
    }
    const std::string_view version = name.substr(dash + 1, end - dash - 1);
    const bool digits = !version.empty() && version.find_first_not_of("0123456789.") == std::string_view::npos;
    return digits ? std::string(version) : std::string();
}

// Of an application, bundle or framework.
std::string BundleVersion(const fs::path &bundle) {
    const base::ScopedPool pool;
    for (const char *place : {"Contents/Info.plist", "Resources/Info-gnustep.plist", "Resources/Info.plist",
                              "Versions/Current/Resources/Info.plist", "Info.plist"}) {
        NSDictionary *info =
            [NSDictionary dictionaryWithContentsOfFile:[NSString stringWithUTF8String:(bundle / place).c_str()]];
        for (NSString *key : {@"CFBundleShortVersionString", @"CFBundleVersion"}) {
            id value = [info objectForKey:key];
            if ([value isKindOfClass:[NSString class]] && [value length] > 0) {
                return [value UTF8String];
            }
        }
    }
    return {};
}

std::string VersionOf(const InstalledComponent &component) {
    const fs::path path = component.folder / component.name;
    std::error_code error;
    if (fs::is_directory(fs::symlink_status(path, error))) {
        return BundleVersion(path);
    }
    for (const InstalledFile &file : component.files) {
        if (const std::string version = VersionInName(file.path); !version.empty()) {
            return version;
        }
    }
    return VersionInName(component.name);
}

ComponentState StateOf(const InstalledComponent &component) {
    ComponentState state{component.name, component.folder, VersionOf(component), true, 0, {}, {}};
    for (const InstalledFile &file : component.files) {
        ++state.files;
        const Fault fault = Check(file, component.folder);
        if (fault == Fault::Missing) {
            state.missing.push_back(file.path);
        } else if (fault == Fault::Changed) {
            state.changed.push_back(file.path);
        }
    }
    return state;
}

bool LooksLikeComponent(const fs::directory_entry &entry) {
    constexpr std::array<std::string_view, 5> kFolders = {".app", ".bundle", ".framework", ".plugin", ".component"};
    const std::string extension = entry.path().extension().string();
    std::error_code error;
    if (entry.is_directory(error) && !entry.is_symlink(error)) {
        return std::find(kFolders.begin(), kFolders.end(), extension) != kFolders.end();
    }
    return extension == ".dylib" && !entry.is_symlink(error);
}

// Components in this folder; version folders in it are looked into when `deeper`.
void Search(const fs::path &folder, bool deeper, std::vector<InstalledComponent> &found) {
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with(".") || (deeper && name == kExtensionBundle)) {
            continue;
        }
        if (LooksLikeComponent(*entry)) {
            found.push_back({folder, name, {}});
        } else if (std::error_code gone; deeper && fs::is_directory(entry->symlink_status(gone))) {
            Search(entry->path(), false, found);
        }
    }
}

std::string Shown(const fs::path &path, const fs::path &home) {
    const fs::path within = path.lexically_relative(home);
    return base::OneLine(within.empty() || *within.begin() == ".." ? path.string() : (fs::path("~") / within).string());
}

std::string Verdict(const ComponentState &state) {
    if (!state.recorded) {
        return "not on record: installed a moment ago, or not by this program";
    }
    return state.whole() ? "whole (" + std::to_string(state.files) + (state.files == 1 ? " file)" : " files)")
                         : "DAMAGED";
}

// A line for each, up to a number.
std::string Faults(const ComponentState &state) {
    constexpr std::size_t kMost = 10;
    std::vector<std::string> faults;
    for (const std::string &file : state.missing) {
        faults.push_back("missing: " + base::OneLine(file));
    }
    for (const std::string &file : state.changed) {
        faults.push_back("changed: " + base::OneLine(file));
    }
    if (faults.size() > kMost) {
        const std::size_t more = faults.size() - kMost;
        faults.resize(kMost);
        faults.push_back("and " + std::to_string(more) + " more");
    }
    std::string text;
    for (const std::string &fault : faults) {
        text += "      " + fault + "\n";
    }
    return text;
}

} // namespace

std::vector<ComponentState> ComponentStates(const Folders &folders) {
    std::vector<ComponentState> states;
    std::set<fs::path> known;
    for (const InstalledComponent &component : Installed(folders).Components()) {
        states.push_back(StateOf(component));
        known.insert(component.folder / component.name);
        for (const InstalledFile &file : component.files) {
            known.insert(component.folder / file.path);
        }
    }
    std::vector<InstalledComponent> found;
    Search(folders.installed, true, found);
    for (const InstalledComponent &component : found) {
        if (!known.contains(component.folder / component.name)) {
            states.push_back({component.name, component.folder, VersionOf(component), false, 0, {}, {}});
        }
    }
    std::sort(states.begin(), states.end(), [](const ComponentState &a, const ComponentState &b) {
        return std::tie(a.folder, a.name) < std::tie(b.folder, b.name);
    });
    return states;
}

std::string Listing(const std::vector<ComponentState> &states, const Folders &folders) {
    std::string listing;
    fs::path folder;
    for (const ComponentState &state : states) {
        if (state.folder != folder) {
            folder = state.folder;
            listing += Shown(folder, folders.home) + "\n";
        }
        listing += "  " + base::OneLine(state.name) +
                   (state.version.empty() ? "" : "  " + base::OneLine(state.version)) + "  " + Verdict(state) + "\n" +
                   Faults(state);
    }
    return listing.empty() ? "Nothing is installed.\n" : listing;
}

} // namespace lumhost
