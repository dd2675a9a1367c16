// One component of the instruction file's list.
#pragma once

#include <cstdint>
#include <string>

// NOLINTBEGIN(readability-identifier-naming): the names are the interface's own

class CLumExtension;

enum ItemState : std::uint32_t {
    kItemFailed = 0,
    kItemPending = 1,
    kItemFinished = 2,
    kItemIgnored = 3,
    kItemNotStarted = 4,
};

class CItem {
public:
    explicit CItem(CLumExtension *extension);

    bool IsSameFileName(const char *lpszFileName) const;
    bool NeedUpdate(const char *file, char *buffer, bool bCheckBackward);

private:
    bool IsVersionStale(const std::string &file, bool bCheckBackward) const;
    bool IsOlderOrSame(const std::string &file, const char *local) const;

public:
    std::string m_strName;
    std::string m_strUrl;
    std::string m_strTarget;
    std::string m_strVersion;
    std::string m_strAction;
    std::string m_strUpdateControl;
    std::string m_strFailureControl;
    std::string m_strReserved;
    std::uint32_t m_dwFileSize = 0;
    std::uint32_t m_dwCompressedSize = 0;
    std::int32_t m_nOSVersion = 0;
    std::string m_strHashValue;
    std::string m_strHashMethod;
    std::string m_strCertification;
    std::string m_strSignature;
    std::int32_t m_nCertVerified = -1;
    std::uint32_t m_dwState = kItemPending;
    CLumExtension *m_pExtension;
};

int safe_strcasecmp(const char *left, const char *right);
unsigned int safe_strlen(const char *text);

// NOLINTEND(readability-identifier-naming)
