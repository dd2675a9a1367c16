// What stands on the disk, held against the record.
#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include "host/installed/Installed.h"
#include "host/installed/BundleVersion.h"
#include "base/Digest.h"
#include "base/Text.h"

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
        if (name.starts_with(".") || (deeper && name == "lumext.bundle")) {
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

} // namespace

std::vector<ComponentState> Installed::States() const {
    std::vector<ComponentState> states;
    std::set<fs::path> known;
    for (const InstalledComponent &component : Read()) {
        states.push_back(StateOf(component));
        known.insert(component.folder / component.name);
        for (const InstalledFile &file : component.files) {
            known.insert(component.folder / file.path);
        }
    }
    std::vector<InstalledComponent> found;
    Search(m_folders.installed, true, found);
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

std::string Installed::Listing() const {
    constexpr std::size_t kNamed = 10; // faults of one component that are told one by one
    std::string listing;
    fs::path folder;
    for (const ComponentState &state : States()) {
        if (state.folder != folder) {
            folder = state.folder;
            listing += Shown(folder, m_folders.home) + "\n";
        }
        listing += "  " + base::OneLine(state.name) +
                   (state.version.empty() ? "" : "  " + base::OneLine(state.version)) + "  ";
        if (!state.recorded) {
            listing += "not on record: installed a moment ago, or not by this program\n";
            continue;
        }
        listing += state.whole() ? "whole (" + std::to_string(state.files) + " files)\n" : "NOT WHOLE\n";
        std::size_t told = 0;
        for (const auto &[files, word] : {std::pair(&state.missing, "missing"), std::pair(&state.changed, "changed")}) {
            for (const std::string &file : *files) {
                if (told++ < kNamed) {
                    listing += "      " + std::string(word) + ": " + base::OneLine(file) + "\n";
                }
            }
        }
        if (told > kNamed) {
            listing += "      and " + std::to_string(told - kNamed) + " more\n";
        }
    }
    return listing.empty() ? "Nothing is installed.\n" : listing;
}

} // namespace lumhost
