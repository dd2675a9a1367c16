// The reader of profile files. It reads afresh on every call, so a scan has to be cheap: nothing per character depends
// on the locale, and a line outside the wanted section costs no more than the search for its brackets.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/Ascii.h"
#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"
#include "base/ScopedFile.h"

namespace {

constexpr SourceUnit kSource("lum/common/lumutil");
constexpr std::size_t kLineSize = 2048; // a longer line is read in pieces, each a line of its own
constexpr std::size_t kIntegerSize = 256;

constexpr bool IsBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

// Overwrites the text's end and the blanks before it with zeros and returns its first character that is not a blank.
char *TrimRange(char *from, char *end) {
    *end = '\0';
    while (end > from && IsBlank(end[-1])) {
        *--end = '\0';
    }
    while (IsBlank(*from)) {
        ++from;
    }
    return from;
}

char *Trim(char *text) {
    return TrimRange(text, text + std::strlen(text));
}

// The section's name, trimmed, when the line is a header: any line with both brackets, in any place and order.
char *SectionOfHeader(char *line) {
    char *opening = std::strchr(line, '[');
    char *closing = opening ? std::strchr(line, ']') : nullptr;
    if (!closing) {
        return nullptr;
    }
    *closing = '\0';
    return Trim(opening + 1);
}

char *WithoutQuotes(char *value) {
    const char quote = value[0];
    if (quote != '"' && quote != '\'') {
        return value;
    }
    char *last = value + std::strlen(value) - 1;
    if (*last != quote) {
        return value;
    }
    *last = '\0'; // of a value that is a single quote character nothing is left
    return *value ? Trim(value + 1) : value;
}

// The value, trimmed and without quotes, when the line sets `key`.
char *ValueOfKey(char *line, std::string_view key) {
    char *equals = std::strchr(line, '=');
    if (!equals || !base::EqualsIgnoringCase(TrimRange(line, equals), key)) {
        return nullptr;
    }
    return WithoutQuotes(Trim(equals + 1));
}

class Profile {
public:
    explicit Profile(const char *path) : m_stream(path ? std::fopen(path, "rt") : nullptr) {
        if (m_stream) {
            std::setvbuf(m_stream.get(), m_buffer, _IOFBF, sizeof m_buffer);
        }
    }

    bool Read(const char *section, const char *key, char *out, unsigned int outSize) {
        return m_stream && QXReadIni(m_stream.get(), section, key, out, outSize);
    }

private:
    // Read ahead: nearly halves the time of a scan, most of which is system calls otherwise.
    char m_buffer[32 * 1024];
    base::ScopedFile m_stream;
};

} // namespace

char *QXTrimStringA(char *str) {
    return AssertionHolds(str != nullptr, "lpszString", kSource) ? Trim(str) : nullptr;
}

char *QXTrimString(char *str) {
    return QXTrimStringA(str);
}

bool QXReadIni(FILE *stream, const char *section, const char *key, char *out, unsigned int outSize) {
    char line[kLineSize] = {};
    bool inSection = false;
    while (std::fgets(line, sizeof line, stream)) {
        if (const char *name = SectionOfHeader(line)) {
            if (inSection) {
                return false; // whatever its name: a later section of the same name is never read
            }
            inSection = base::EqualsIgnoringCase(name, section);
        } else if (inSection) {
            if (const char *value = ValueOfKey(line, key)) {
                base::CopyBounded(out, outSize, value);
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
    if (!Profile(path).Read(section, key, out, outSize)) {
        // One character shorter than a value that is found.
        base::CopyBounded(out, std::max(outSize - 1, 1U), defaultValue ? defaultValue : "");
    }
    return static_cast<unsigned int>(std::strlen(out));
}

unsigned int QXGetPrivateProfileInt(const char *section, const char *key, unsigned int defaultValue, const char *path) {
    char value[kIntegerSize] = {};
    if (!Profile(path).Read(section, key, value, sizeof value)) {
        return defaultValue;
    }
    int number = 0;
    return std::sscanf(value, "%d", &number) == 1 ? static_cast<unsigned int>(number) : defaultValue;
}
