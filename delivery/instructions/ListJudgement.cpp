#include "delivery/instructions/ListJudgement.h"

#include <algorithm>
#include <map>

#include "base/Text.h"
#include "delivery/instructions/InstructionFile.h"
#include "delivery/instructions/ItemLine.h"

namespace delivery {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestPath = 1000;
constexpr const char *kRemoteDesk = "rmtagmgr.dll";

std::string WithSlash(std::string path) {
    if (!path.empty() && path.back() != '/') {
        path += '/';
    }
    return path;
}

bool IsRealName(std::string_view name) {
    for (;;) {
        const std::size_t end = name.find('/');
        const std::string_view piece = name.substr(0, end);
        if (piece.empty() || piece == "." || piece == "..") {
            return false;
        }
        if (end == std::string_view::npos) {
            return true;
        }
        name.remove_prefix(end + 1);
    }
}

// Both are absolute and without "." and "..".
bool IsWithin(const fs::path &path, const fs::path &folder) {
    return std::ranges::mismatch(folder, path).in1 == folder.end();
}

std::string FolderOf(const std::string &target, const InstallPlaces &places) {
    const std::string word = base::Lower(target);
    if (target.empty()) {
        return WithSlash(places.DefaultFolder());
    }
    if (target.find('/') != std::string::npos) {
        return WithSlash(target);
    }
    return word == "%system%" || word == "%extension%" ? std::string() : places.kelvoFolder.string() + "/";
}

class Judge {
public:
    explicit Judge(const InstallPlaces &places) : m_kelvo(WithoutSlash(places.kelvoFolder)), m_places(places) {}

    // What is wrong with putting something of this name into this folder; empty: nothing.
    std::string Against(const std::string &folder, const std::string &name, const std::string &version);
    std::string AgainstFolder(const std::string &folder);

private:
    static fs::path WithoutSlash(const fs::path &path) {
        const fs::path normal = path.lexically_normal();
        return normal.has_filename() ? normal : normal.parent_path();
    }
    std::string Examine(const std::string &folder) const;

    const fs::path m_kelvo;
    const InstallPlaces &m_places;
    std::map<std::string, std::string> m_known; // folders, and what is wrong with them
};

std::string Judge::Against(const std::string &folder, const std::string &name, const std::string &version) {
    if (!IsRealName(name)) {
        return "its name is not the name of a file below a folder";
    }
    if (version.find('/') != std::string::npos) {
        return "its version " + base::Quoted(version) + " has a \"/\" in it and would lead to another folder";
    }
    // A library lies under its name and version, with an extension that the name need not have.
    if (folder.size() + name.size() + version.size() > kLongestPath) {
        return "its path is longer than " + std::to_string(kLongestPath) + " bytes";
    }
    const std::string wrong = AgainstFolder(WithSlash(fs::path(folder + name).parent_path().string()));
    if (!wrong.empty()) {
        return wrong;
    }
    for (const std::string &reserved : m_places.reserved) {
        if (IsWithin(fs::path(folder + name).lexically_normal(), m_kelvo / reserved)) {
            return "that is a part of lumhost itself";
        }
    }
    return "";
}

std::string Judge::AgainstFolder(const std::string &folder) {
    const auto known = m_known.find(folder);
    return known != m_known.end() ? known->second : m_known.emplace(folder, Examine(folder)).first->second;
}

std::string Judge::Examine(const std::string &folder) const {
    if (!folder.starts_with('/')) {
        return folder.empty() ? "this target is no folder" : "a relative folder is wherever lumhost was started";
    }
    if (std::ranges::any_of(fs::path(folder), [](const fs::path &piece) { return piece == ".."; })) {
        return "the way there has a \"..\" in it";
    }
    const fs::path normal = WithoutSlash(folder);
    if (!IsWithin(normal, m_kelvo)) {
        return "that is outside \"Kelvo Folder\"";
    }
    std::error_code error;
    const fs::path real = fs::weakly_canonical(normal, error);
    const fs::path realKelvo = error ? fs::path() : fs::weakly_canonical(m_kelvo, error);
    if (error) {
        return "the folder cannot be examined: " + error.message();
    }
    return IsWithin(real, realKelvo)
               ? ""
               : "a link leads from there to " + base::Quoted(real.string()) + ", outside \"Kelvo Folder\"";
}

} // namespace

std::string InstallPlaces::DefaultFolder() const {
    const std::string kelvo = kelvoFolder.string();
    if (base::Lower(component) == kRemoteDesk) {
        return kelvo + "/RemoteDesk";
    }
    return productVersion ? kelvo + "/" + *productVersion : kelvo;
}

std::vector<ListedItem> ListedItems(std::string_view file, const std::string &section, const InstallPlaces &places) {
    std::vector<ListedItem> items;
    const InstructionFile read = ReadInstructions(file);
    const InstructionSection *active = read.Find(section);
    if (!active) {
        return items;
    }
    for (const InstructionEntry *entry : ItemEntries(*active)) {
        const std::vector<std::string> attributes = SplitItemLine(entry->value);
        if (attributes.size() >= kRequiredAttributes) {
            items.push_back({entry->line, attributes[kName], attributes[kTarget], attributes[kVersion],
                             FolderOf(attributes[kTarget], places)});
        }
    }
    return items;
}

base::Result<void> JudgeItems(const std::vector<ListedItem> &items, const InstallPlaces &places) {
    Judge judge(places);
    for (const ListedItem &item : items) {
        const std::string wrong = judge.Against(item.folder, item.name, item.version);
        if (!wrong.empty()) {
            const std::string place = item.folder.empty() ? "" : ", to be installed into " + base::Quoted(item.folder);
            return base::Fail(InstructionLine(item.line) + ": " + base::Quoted(item.name) + " (target " +
                              base::Quoted(item.target) + place + "): " + wrong);
        }
    }
    return {};
}

base::Result<void> JudgeDefaultFolder(const InstallPlaces &places) {
    const std::string folder = WithSlash(places.DefaultFolder());
    const std::string wrong = folder.size() > kLongestPath ? "it is too long" : Judge(places).AgainstFolder(folder);
    if (!wrong.empty()) {
        return base::Fail("the page's LumProductVersion leads to " + base::Quoted(folder) + ": " + wrong);
    }
    return {};
}

} // namespace delivery
