// The reader of profile files. What a file held is remembered until it changes: a caller asks for the lines of an
// instruction file one by one, and a search from its start for each would take minutes for a long one.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <utility>

#include "base/Ascii.h"
#include "base/Files.h"
#include "base/FileVersion.h"
#include "base/ScopedFile.h"
#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "lum/common/ProfileIndex.h"
#include "lum/common/ProfileMemory.h"

namespace {

constexpr SourceUnit kSource("lum/common/lumutil");
constexpr std::size_t kIntegerSize = 256;
constexpr std::uint64_t kLargestRemembered = 256 * 1024 * 1024;

struct RememberedProfile {
    RememberedProfile(const base::FileVersion &of, std::string text) : version(of), index(std::move(text)) {}

    base::FileVersion version;
    ProfileIndex index;
};

std::optional<RememberedProfile> &Memory() {
    static std::optional<RememberedProfile> memory;
    return memory;
}

// Reads what the descriptor's file holds into the memory. Null for what cannot be read whole.
const ProfileIndex *Remember(int descriptor) {
    const std::optional<base::FileVersion> version = base::SettledVersion(descriptor);
    if (!version || version->size == 0) { // which files in /proc say, too
        return nullptr;
    }
    base::Result<std::string> text = base::ReadWhole(descriptor, kLargestRemembered);
    return text ? &Memory().emplace(*version, std::move(*text)).index : nullptr;
}

// Finds the value as a search of the file from its start would, from memory while the file is the same.
bool Find(const char *path, const char *section, const char *key, char *out, unsigned int outSize) {
    if (!path) {
        return false;
    }
    const ProfileIndex *index = nullptr;
    if (const auto version = base::SettledVersion(path); version && Memory() && Memory()->version == *version) {
        index = &Memory()->index;
    } else {
        ForgetProfile();
        const base::ScopedFile stream(std::fopen(path, "rt"));
        index = stream ? Remember(fileno(stream.get())) : nullptr;
        if (!index) {
            return stream && QXReadIni(stream.get(), section, key, out, outSize);
        }
    }
    const std::optional<std::string_view> value = index->Find(section, key);
    if (value) {
        base::CopyBounded(out, outSize, *value);
    }
    return value.has_value();
}

} // namespace

void ForgetProfile() {
    Memory().reset();
}

char *QXTrimStringA(char *str) {
    if (!AssertionHolds(str != nullptr, "lpszString", kSource)) {
        return nullptr;
    }
    const std::string_view text(str);
    const std::string_view trimmed = TrimmedProfileText(text);
    char *const start = str + (trimmed.data() - text.data());
    char *const end = start + trimmed.size();
    std::fill(end, str + text.size(), '\0');
    return start;
}

char *QXTrimString(char *str) {
    return QXTrimStringA(str);
}

bool QXReadIni(FILE *stream, const char *section, const char *key, char *out, unsigned int outSize) {
    char line[kLongestProfileLine + 1] = {};
    bool inSection = false;
    while (std::fgets(line, sizeof line, stream)) {
        if (const auto name = SectionOfHeader(line)) {
            if (inSection) {
                return false; // whatever its name: a later section of the same name is never read
            }
            inSection = base::EqualsIgnoringCase(*name, section);
        } else if (const auto entry = inSection ? EntryOfLine(line) : std::nullopt) {
            if (base::EqualsIgnoringCase(entry->key, key)) {
                base::CopyBounded(out, outSize, entry->value);
                return true;
            }
        }
    }
    return false;
}

unsigned int QXGetPrivateProfileString(const char *section, const char *key, const char *defaultValue, char *out,
                                       unsigned int outSize, const char *path) {
    if (outSize == 0) {
        return 0;
    }
    if (!Find(path, section, key, out, outSize)) {
        // One character shorter than a value that is found.
        base::CopyBounded(out, std::max(outSize - 1, 1U), defaultValue ? defaultValue : "");
    }
    return static_cast<unsigned int>(std::strlen(out));
}

unsigned int QXGetPrivateProfileInt(const char *section, const char *key, unsigned int defaultValue, const char *path) {
    char value[kIntegerSize] = {};
    if (!Find(path, section, key, value, sizeof value)) {
        return defaultValue;
    }
    int number = 0;
    return std::sscanf(value, "%d", &number) == 1 ? static_cast<unsigned int>(number) : defaultValue;
}
