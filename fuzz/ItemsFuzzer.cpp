// Item lines and lists of them, as they come out of an instruction file.
#include <algorithm>

#include "fuzz/Check.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/luminstallationmgr.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(InputText(data, size));
    LumInstallationMgr manager(nullptr);
    Require(manager.ParseInstructions(text.c_str()), "a list is always taken");
    const auto pieces = static_cast<std::size_t>(std::count(text.begin(), text.end(), '|')) + 1;
    Require(manager.m_aItems.size() <= pieces, "no more items than pieces");
    for (const CItem *item : manager.m_aItems) {
        Require(item->m_strVersion.find_first_of(" \t\r\n") == std::string::npos, "a version is free of blanks");
        const char *name = item->m_strName.c_str(); // which is equal to nothing, itself included, unless it is UTF-8
        Require((manager.FindItem(name) != nullptr) == item->IsSameFileName(name), "an item is found by its name");
    }
    const std::size_t count = manager.m_aItems.size();
    const char *line = text.c_str(); // ends at the first zero byte
    const bool accepted = manager.ParseItem(line, true);
    Require(manager.m_aItems.size() == count + (accepted ? 1 : 0), "an item is added exactly when it is accepted");
    Require(accepted == (divideStr(line, ";").size() >= 10), "ten attributes make an item");
    manager.RemoveAllItem();
    Require(manager.m_aItems.empty(), "all items can be removed");
    return 0;
}
