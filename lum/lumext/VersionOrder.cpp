#include "lum/lumext/VersionOrder.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <vector>

#include "lum/common/lumutil.h"

std::optional<VersionParts> ParseVersion(const std::string &version) {
    const std::vector<std::string> texts = divideStr(version, ",");
    VersionParts parts{};
    if (texts.size() != parts.size()) {
        return std::nullopt;
    }
    std::transform(texts.begin(), texts.end(), parts.begin(), [](const std::string &text) {
        unsigned int number = 0; // stays 0 for what begins with a blank or a sign
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        return error == std::errc::result_out_of_range ? std::numeric_limits<unsigned int>::max() : number;
    });
    return parts;
}

void TraceVersions(const char *operation, const VersionParts &oldVersion, const VersionParts &newVersion) {
    MacInfoTrace("%s, lOldVersion1=%u,lOldVersion2=%u,lOldVersion3=%u,lOldVersion4=%u!", operation, oldVersion[0],
                 oldVersion[1], oldVersion[2], oldVersion[3]);
    MacInfoTrace("%s, lNewVersion1=%u,lNewVersion2=%u,lNewVersion3=%u,lNewVersion4=%u!", operation, newVersion[0],
                 newVersion[1], newVersion[2], newVersion[3]);
}
