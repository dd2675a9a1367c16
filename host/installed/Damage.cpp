#include "host/installed/Damage.h"

#include <fcntl.h>

#include <algorithm>
#include <tuple>

#include "base/Files.h"
#include "base/Text.h"
#include "delivery/package/Unpacker.h"
#include "host/installed/FileState.h"
#include "host/installed/Installed.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostOfArguments = 64 << 10;

// The first file with something wrong, in words; empty when nothing is.
std::string FirstFault(const InstalledComponent &component, Scrutiny scrutiny) {
    for (const InstalledFile &file : component.files) {
        const bool fit = scrutiny == Scrutiny::Programs ? IsProgramFit(file, component.folder)
                                                        : CheckFile(file, component.folder) == FileFault::None;
        if (!fit) {
            std::error_code error;
            const bool exists = fs::exists(fs::symlink_status(component.folder / file.path, error));
            return base::Quoted(file.path) + (exists ? " is not as it was installed" : " is missing");
        }
    }
    return "";
}

bool IsWithin(const fs::path &path, const fs::path &folder) {
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}

// The program of a process and, of a script, the file that the interpreter was given.
std::vector<fs::path> FilesOf(const fs::path &process) {
    std::error_code error;
    std::vector<fs::path> files = {fs::read_symlink(process / "exe", error)};
    const base::ScopedDescriptor file(open((process / "cmdline").c_str(), O_RDONLY | O_CLOEXEC));
    std::string arguments = file ? base::ReadStart(file.get(), kMostOfArguments) : "";
    for (int i = 0; i < 2 && !arguments.empty(); ++i) {
        const std::size_t end = std::min(arguments.find('\0'), arguments.size());
        files.emplace_back(arguments.substr(0, end));
        arguments.erase(0, end + 1);
    }
    return files;
}

std::vector<fs::path> Parts(const InstalledComponent &component) {
    std::vector<fs::path> parts = {component.path()};
    for (const InstalledFile &file : component.files) {
        if (IsPlainName(file.path) && file.path != component.name) { // of a library, under its version
            parts.push_back(component.folder / file.path);
        }
    }
    return parts;
}

} // namespace

std::vector<std::string> RunningFrom(const fs::path &place) {
    std::set<std::string> names;
    std::error_code error;
    const fs::path real = fs::weakly_canonical(place, error);
    for (fs::directory_iterator entry("/proc", error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (!base::ReadNumber<pid_t>(name)) {
            continue;
        }
        for (const fs::path &file : FilesOf(entry->path())) {
            if (file.is_absolute() && (IsWithin(file, real) || IsWithin(file, place))) {
                names.insert(file.filename().string());
                break;
            }
        }
    }
    return {names.begin(), names.end()};
}

std::vector<std::string> RemoveDamaged(const Folders &folders, const std::set<fs::path> &places, Scrutiny scrutiny) {
    std::vector<std::string> told;
    std::vector<InstalledComponent> replaced;
    for (const InstalledComponent &component : Installed(folders).Components()) {
        std::error_code error;
        if (!places.contains(component.path().lexically_normal()) || !fs::exists(component.path(), error)) {
            continue; // a missing one is fetched without this
        }
        const std::string fault = FirstFault(component, scrutiny);
        if (IsReplaced(component)) {
            replaced.push_back(Installed::Look(component.path()));
            replaced.back().source = fault.empty() ? component.source : InstalledSource();
            continue;
        }
        if (fault.empty()) {
            continue;
        }
        if (const auto running = RunningFrom(component.path()); !running.empty()) {
            told.push_back(component.name + " is damaged (" + fault + "), but runs: end " + running.front() +
                           ", then start again");
            continue;
        }
        bool removed = true;
        for (const fs::path &part : Parts(component)) {
            removed = delivery::RemoveInOneStep(part) && removed;
        }
        told.push_back(component.name + " is damaged: " + fault +
                       (removed ? "; it is fetched again" : "; it cannot be removed, check the folder's permissions"));
    }
    std::ignore = Installed(folders).Record(replaced); // else the next start tries it again
    return told;
}

} // namespace lumhost
