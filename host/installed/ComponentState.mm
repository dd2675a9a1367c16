#include "host/installed/ComponentState.h"

#include <json/json.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <set>
#include <string_view>
#include <tuple>

#import <Foundation/Foundation.h>

#include "base/Text.h"
#import "base/objc/ScopedPool.h"
#include "host/installed/FileState.h"
#include "host/installed/Installed.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

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
    ComponentState state{.name = component.name,
                         .folder = component.folder,
                         .version = VersionOf(component),
                         .site = component.source.site,
                         .page = component.source.page,
                         .installed = component.installed};
    for (const InstalledFile &file : component.files) {
        ++state.files;
        const FileFault fault = CheckFile(file, component.folder);
        if (fault == FileFault::Missing) {
            state.missing.push_back(file.path);
        } else if (fault == FileFault::Changed) {
            state.changed.push_back(file.path);
        }
    }
    if (!state.whole() && IsReplaced(component)) { // the record is about what was there before
        state.recorded = false;
        state.missing.clear();
        state.changed.clear();
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
            found.push_back({.folder = folder, .name = name, .files = {}});
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
        return "not on record: installed a moment ago, or not by this program; the next start records it";
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

std::string DateOf(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm utc{};
    gmtime_r(&time, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

Json::Value TextOrNull(const std::string &text) {
    return text.empty() ? Json::Value() : Json::Value(text);
}

Json::Value ToJson(const std::vector<std::string> &files) {
    Json::Value list(Json::arrayValue);
    for (const std::string &file : files) {
        list.append(file);
    }
    return list;
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
            states.push_back({.name = component.name,
                              .folder = component.folder,
                              .version = VersionOf(component),
                              .recorded = false});
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
                   (state.version.empty() ? "" : "  " + base::OneLine(state.version)) + "  " + Verdict(state) +
                   (state.site.empty() ? "" : "  from " + base::OneLine(state.site)) + "\n" + Faults(state);
    }
    return listing.empty() ? "Nothing is installed.\n" : listing;
}

std::string JsonListing(const std::vector<ComponentState> &states, const std::string &user) {
    Json::Value list(Json::arrayValue);
    for (const ComponentState &state : states) {
        Json::Value entry(Json::objectValue);
        entry["user"] = user;
        entry["name"] = state.name;
        entry["folder"] = state.folder.string();
        entry["version"] = TextOrNull(state.version);
        entry["site"] = TextOrNull(state.site);
        entry["page"] = TextOrNull(state.page);
        entry["installed"] = state.installed == 0 ? Json::Value() : Json::Value(DateOf(state.installed));
        entry["state"] = !state.recorded ? "unrecorded" : state.whole() ? "whole" : "damaged";
        entry["missing"] = ToJson(state.missing);
        entry["changed"] = ToJson(state.changed);
        list.append(std::move(entry));
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = " ";
    return Json::writeString(builder, list) + "\n";
}

} // namespace lumhost
