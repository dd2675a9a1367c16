// The item list: from the text of the instructions to records.
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/lumext.h"
#include "lum/lumext/luminstallationmgr.h"

namespace {

constexpr SourceUnit kSource("lum/lumext/luminstallationmgr");
constexpr std::size_t kRequiredAttributes = 10;
// Exactly this run is taken out of an attribute, not each of its characters: a lone blank belongs to the value.
constexpr char kRemovedRun[] = " \t\r\n";

std::uint32_t ToUnsigned(const std::string &text) {
    unsigned long value = 0;
    std::sscanf(text.c_str(), "%lu", &value);
    return static_cast<std::uint32_t>(value);
}

std::int32_t ToSigned(const std::string &text) {
    int value = 0;
    std::sscanf(text.c_str(), "%d", &value);
    return value;
}

using TakeAttribute = void (*)(CItem &item, const std::string &value);

// One taker for each position of an item line.
constexpr std::array<TakeAttribute, 13> kTakers{
    [](CItem &item, const std::string &value) {
        item.m_strName = value;
        MacInfoTrace("Source Name : %s", value.c_str());
    },
    [](CItem &item, const std::string &value) {
        item.m_strUrl = value;
        MacInfoTrace("Url : %s", value.c_str());
    },
    [](CItem &item, const std::string &value) {
        item.m_strTarget = value;
        MacInfoTrace("Target : %s", value.c_str());
    },
    [](CItem &item, const std::string &value) {
        FormalizeVersionString(item.m_strVersion, value.c_str());
        MacInfoTrace("Version : %s", value.c_str());
    },
    [](CItem &item, const std::string &value) {
        item.m_dwFileSize = ToUnsigned(value);
        MacInfoTrace("File size : %s", value.c_str());
    },
    [](CItem &item, const std::string &value) {
        item.m_dwCompressedSize = ToUnsigned(value);
        MacInfoTrace("Compressed size : %s", value.c_str());
    },
    [](CItem &item, const std::string &value) {
        item.m_strAction = value;
        MacInfoTrace("Action : %s", value.c_str());
    },
    [](CItem &item, const std::string &value) {
        item.m_strUpdateControl = value;
        MacInfoTrace("UpdateControl : %s", value.c_str());
    },
    [](CItem &item, const std::string &value) {
        item.m_strFailureControl = value;
        MacInfoTrace("FailureControl : %s", value.c_str());
    },
    [](CItem &item, const std::string &value) {
        item.m_nOSVersion = ToSigned(value);
        MacInfoTrace("OS version : %s", value.c_str());
    },
    [](CItem &item, const std::string &value) {
        item.m_strHashValue = value;
        MacInfoTrace("Hash value of [%s] = %s", item.m_strName.c_str(), value.c_str());
    },
    [](CItem &item, const std::string &value) {
        item.m_strHashMethod = value;
        MacInfoTrace("algorithms of [%s] = %s", item.m_strName.c_str(), value.c_str());
    },
    [](CItem &item, const std::string &value) {
        item.m_strSignature = value;
        if (item.m_pExtension) {
            item.m_strCertification = item.m_pExtension->Services().GetParameter("lumcertification").value_or("");
        }
    },
};

void CleanAttribute(std::string &attribute) {
    const std::size_t rawSize = attribute.size();
    replaceall(attribute, kRemovedRun, "");
    if (attribute.size() != rawSize) {
        MacWarnTrace("LumInstallationMgr::ParseItem, item seperate by (\";\") not same");
    }
}

} // namespace

bool LumInstallationMgr::ParseInstructions(const char *lpszInstructions) {
    if (!AssertionHolds(lpszInstructions != nullptr, "lpszInstructions", kSource)) {
        return false;
    }
    const std::size_t size = std::strlen(lpszInstructions) + 2;
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[size]());
    if (!buffer) {
        return false;
    }
    std::memcpy(buffer.get(), lpszInstructions, size - 1);
    std::vector<const char *> items;
    char *rest = nullptr;
    for (char *piece = strtok_r(buffer.get(), "|", &rest); piece; piece = strtok_r(nullptr, "|", &rest)) {
        if (const char *item = QXTrimString(piece); *item) {
            items.push_back(item);
        }
    }
    for (const char *item : items) {
        ParseItem(item, true); // a bad item is skipped, the next one is tried
    }
    return true;
}

bool LumInstallationMgr::ParseItem(const char *lpszItem, bool) {
    MacInfoTrace("NPQXLUM : LumInstallationMgr::ParseItem,Item = %s", lpszItem ? lpszItem : "");
    std::unique_ptr<CItem> item(new (std::nothrow) CItem(m_pExtension));
    if (!item) {
        return false;
    }
    if (!lpszItem || !*lpszItem) {
        MacWarnTrace("LumInstallationMgr::ParseItem , lpszItem is NULL");
        return false;
    }
    MacInfoTrace("LumInstallationMgr::ParseItem, attributeStr = %s", lpszItem);
    std::vector<std::string> attributes = divideStr(lpszItem, ";");
    if (attributes.size() < kRequiredAttributes) {
        MacErrorTrace("LumInstallationMgr::ParseItem, attrubutes.size() < 10");
        return false;
    }
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        CleanAttribute(attributes[i]);
        if (i < kTakers.size()) {
            kTakers[i](*item, attributes[i]);
        }
    }
    return AddItem(item.release());
}

bool LumInstallationMgr::AddItem(CItem *item) {
    m_aItems.push_back(item);
    return true;
}

CItem *LumInstallationMgr::FindItem(const char *name) {
    if (!name) {
        return nullptr;
    }
    for (CItem *item : m_aItems) {
        if (item && item->IsSameFileName(name)) {
            return item;
        }
    }
    return nullptr;
}

void LumInstallationMgr::RemoveAllItem() {
    for (CItem *pItem : m_aItems) {
        if (AssertionHolds(pItem != nullptr, "pItem", kSource)) {
            delete pItem;
        }
    }
    m_aItems.clear();
}
