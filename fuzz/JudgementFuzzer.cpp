// The judgement of an item list, held against the extension's own reader and the places that it composes: whatever
// the extension would remove, write or link lies in "Kelvo Folder" when the list has passed. Input: the section, the
// page's component, its product version, then the instruction file.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "base/Files.h"
#include "delivery/instructions/ListJudgement.h"
#include "fuzz/Check.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/LibraryName.h"
#include "lum/lumext/luminstallationmgr.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kCutAt = 1023; // paths that are removed

const fs::path &KelvoFolder() {
    static const fs::path folder = fs::path(GetApplicationSupportDirectory()) / "Kelvo Folder";
    return folder;
}

// Not "Kelvo Folder" itself, and nothing that is reserved in it.
void RequireInside(std::string path) {
    path.resize(std::min(path.size(), kCutAt));
    const std::vector<fs::path> kelvo(KelvoFolder().begin(), KelvoFolder().end());
    std::vector<fs::path> way;
    for (const fs::path &piece : fs::path(path)) {
        if (piece == "..") {
            Require(way.size() > kelvo.size(), "no step leads out of the folder");
            way.pop_back();
        } else if (piece != "." && !piece.empty()) {
            way.push_back(piece);
        }
    }
    Require(way.size() > kelvo.size() && std::equal(kelvo.begin(), kelvo.end(), way.begin()), "it is in the folder");
    Require(way[kelvo.size()] != "lumext.bundle", "it is not the container's");
}

// The places of GiveVersionedName, DeleteFiles and FileExists in the extension.
void RequireItemInside(LumInstallationMgr &manager, const CItem &item) {
    std::string path;
    std::string folder;
    manager.GetItemInstallPath(&item, path);
    manager.GetItemInstallDir(&item, folder);
    RequireInside(path);
    if (!folder.ends_with('/')) {
        folder += '/';
    }
    RequireInside(folder + "x"); // older versions of a library, and hidden names
    if (IsInstalledAsLibrary(item.m_strName)) {
        const LibraryNames names = NamesOfInstalledLibrary(item.m_strName, item.m_strVersion);
        RequireInside(folder + names.link);
        RequireInside(folder + names.real);
    }
    if (IsLookedForAsLibrary(path)) {
        const std::string real = folder + NameOfLibraryLookedFor(item.m_strName, item.m_strVersion);
        RequireInside(real);
        RequireInside(real.substr(0, real.rfind('-')) + ".dylib");
    }
}

// As the controller reads them.
void ReadItems(LumInstallationMgr &manager, const std::string &file, const char *section) {
    const int count = static_cast<int>(std::min(QXGetPrivateProfileInt(section, "Count", 0, file.c_str()), 100U));
    for (int i = 1; i <= count; ++i) {
        char line[2048];
        const std::string key = "File" + std::to_string(i);
        if (QXGetPrivateProfileString(section, key.c_str(), "", line, sizeof line, file.c_str()) < 2) {
            return;
        }
        manager.ParseItem(line, true);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view rest = InputText(data, size);
    const std::string section = TakeLine(rest);
    const std::string component = TakeLine(rest);
    const std::string version = TakeLine(rest);
    std::string text(rest); // in which "@K" stands for the folder
    replaceall(text, "@K", KelvoFolder().string());
    const std::string file = "/dev/shm/lum-judgement-fuzzer." + std::to_string(getpid());
    if (text.empty() || !base::ReplaceFile(file, text, base::Readers::Owner, base::Durability::Cached)) {
        return 0;
    }
    const delivery::InstallPlaces places{KelvoFolder(), component.c_str(), version.c_str(), {"lumext.bundle"}};
    LumInstallationMgr manager(nullptr);
    ReadItems(manager, file, section.c_str());
    fs::remove(file);
    const auto listed = delivery::ListedItems(text, section.c_str(), places);
    Require(manager.m_aItems.size() <= listed.size(), "every item is listed");
    for (std::size_t i = 0; i < manager.m_aItems.size(); ++i) {
        Require(listed[i].name == manager.m_aItems[i]->m_strName &&
                    listed[i].target == manager.m_aItems[i]->m_strTarget,
                "an item is listed as the extension reads it");
    }
    if (delivery::JudgeDefaultFolder(places) && delivery::JudgeItems(listed, places)) {
        manager.m_strDefInstallDir = places.DefaultFolder();
        for (const CItem *item : manager.m_aItems) {
            RequireItemInside(manager, *item);
        }
    }
    return 0;
}
