#include "host/run/InstructionGate.h"

#include <set>

#include "base/Files.h"
#include "delivery/instructions/InstructionFile.h"
#include "host/Process.h"

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
      m_section(Text(page, "LumActiveIniSection").value_or(delivery::kDefaultSection)), m_confined(std::move(confined)),
      m_isFree(m_confined.empty() && !page.Sites().empty()) {}

base::Result<void> InstructionGate::AdmitPage() const {
    if (const auto folder = delivery::JudgeDefaultFolder(m_places); !folder && !m_isFree) {
        return Refusal(folder.error().text);
    }
    const fs::path copy = fs::path(m_places.DefaultFolder()) / delivery::kInstructionFileName;
    std::error_code error;
    if (fs::exists(copy, error) && !Admit(copy)) {
        fs::remove(copy.string() + ".plist", error); // without this record the copy is not used
    }
    return {};
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
