#include "host/run/InstructionGate.h"

#include <algorithm>
#include <set>

#include "base/Files.h"
#include "delivery/instructions/InstructionFile.h"
#include "host/Process.h"
#include "host/release/Pins.h"
#include "host/release/ReleaseSession.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestFile = 64 << 20;

// Up to the first zero byte: so much of it the extension sees.
std::optional<std::string> Text(const delivery::Page &page, const char *name) {
    const std::string *value = page.Find(name);
    return value ? std::optional<std::string>(value->c_str()) : std::nullopt;
}

} // namespace

InstructionGate::InstructionGate(const Folders &folders, const delivery::Page &page, std::vector<std::string> confined,
                                 Scrutiny scrutiny)
    : m_folders(folders), m_scrutiny(scrutiny), m_places{folders.installed,
                                                         Text(page, "LumComponentName").value_or(""),
                                                         Text(page, "LumProductVersion"),
                                                         {std::string(kExtensionBundle)}},
      m_section(Text(page, "LumActiveIniSection").value_or(delivery::kDefaultSection)), m_sites(page.Sites()),
      m_confined(std::move(confined)), m_isFree(m_confined.empty() && !m_sites.empty()) {}

base::Result<void> InstructionGate::AdmitPage() const {
    if (const auto folder = delivery::JudgeDefaultFolder(m_places); !folder && !m_isFree) {
        return Refusal(folder.error().text);
    }
    const fs::path copy = fs::path(m_places.DefaultFolder()) / delivery::kInstructionFileName;
    std::error_code error;
    if (fs::exists(copy, error) && (!IsOfRelease(copy) || !Admit(copy))) {
        fs::remove(copy.string() + ".plist", error); // without this record the copy is not used
    }
    return {};
}

// For each pinned site of the page: whether it is the instruction file that was last accepted of its release.
bool InstructionGate::IsOfRelease(const fs::path &copy) const {
    const Pins pins(m_folders.Releases(), m_folders.AdministratorsRoots());
    return std::ranges::all_of(m_sites, [&](const std::string &site) {
        const base::Result<std::optional<Pin>> pin = pins.Find(site);
        if (pin && !*pin) {
            return true;
        }
        const auto accepted = pin ? base::ReadWhole((*pin)->folder / kInstructions, kLargestFile)
                                  : base::Result<std::string>(base::Fail(pin.error()));
        return accepted && *accepted == base::ReadWhole(copy, kLargestFile).value_or("");
    });
}

base::Result<void> InstructionGate::Admit(const fs::path &file) const {
    const auto items = Items(file);
    if (!items) {
        return base::Fail(items.error());
    }
    if (const auto judged = delivery::JudgeItems(*items, m_places); !judged && !m_isFree) {
        return Refusal(judged.error().text);
    }
    std::set<fs::path> places;
    for (const delivery::ListedItem &item : *items) {
        places.insert(item.path().lexically_normal());
    }
    for (const std::string &told : RemoveDamaged(m_folders, places, m_scrutiny)) {
        Complain(told);
    }
    return {};
}

base::Result<std::vector<delivery::ListedItem>> InstructionGate::Items(const fs::path &file) const {
    const base::Result<std::string> text = base::ReadWhole(file, kLargestFile);
    if (!text) {
        return base::Fail("the instruction file cannot be used: " + text.error().text);
    }
    return delivery::ListedItems(*text, m_section, m_places);
}

tl::unexpected<base::Error> InstructionGate::Refusal(const std::string &reason) const {
    std::string commands;
    for (const std::string &site : m_confined) {
        commands += (commands.empty() ? "" : "; ") + ("lumhost allow " + site + " --anywhere");
    }
    return base::Fail(reason + ". Nothing was touched." +
                      (commands.empty() ? "" : " If you trust the site with all your files, type: " + commands));
}

} // namespace lumhost
