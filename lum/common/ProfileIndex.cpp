#include "lum/common/ProfileIndex.h"

#include <algorithm>
#include <utility>

#include "base/Ascii.h"

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view WithoutQuotes(std::string_view value) {
    if (value.empty() || (value.front() != '"' && value.front() != '\'') || value.back() != value.front()) {
        return value;
    }
    value.remove_suffix(1); // of a value that is a single quote character nothing is left
    return value.empty() ? value : TrimmedProfileText(value.substr(1));
}

// Takes what fgets would read into a buffer for the longest line off `rest`.
std::string_view TakeLine(std::string_view &rest) {
    const std::string_view piece = rest.substr(0, kLongestProfileLine);
    const std::string_view line = piece.substr(0, piece.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, piece.size()));
    return line.substr(0, line.find('\0'));
}

} // namespace

std::string_view TrimmedProfileText(std::string_view text) {
    const std::size_t start = text.find_first_not_of(kBlanks);
    return start == text.npos ? text.substr(0, 0) : text.substr(start, text.find_last_not_of(kBlanks) + 1 - start);
}

std::optional<std::string_view> SectionOfHeader(std::string_view line) {
    const std::size_t opening = line.find('[');
    const std::size_t closing = opening == line.npos ? opening : line.find(']');
    if (closing == line.npos) {
        return std::nullopt;
    }
    const std::size_t start = opening + 1;
    return TrimmedProfileText(line.substr(start, closing > opening ? closing - start : line.npos));
}

std::optional<ProfileEntry> EntryOfLine(std::string_view line) {
    const std::size_t equals = line.find('=');
    if (equals == line.npos) {
        return std::nullopt;
    }
    return ProfileEntry{TrimmedProfileText(line.substr(0, equals)),
                        WithoutQuotes(TrimmedProfileText(line.substr(equals + 1)))};
}

bool ProfileIndex::LessIgnoringCase::operator()(std::string_view left, std::string_view right) const {
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [](char a, char b) { return base::AsciiLower(a) < base::AsciiLower(b); });
}

ProfileIndex::ProfileIndex(std::string text) : m_text(std::move(text)) {
    Entries *section = nullptr; // null where nothing is ever found
    for (std::string_view rest = m_text; !rest.empty();) {
        const std::string_view line = TakeLine(rest);
        if (const auto name = SectionOfHeader(line)) {
            const auto [place, isFirst] = m_sections.try_emplace(*name);
            section = isFirst ? &place->second : nullptr;
        } else if (const auto entry = section ? EntryOfLine(line) : std::nullopt) {
            section->try_emplace(entry->key, entry->value);
        }
    }
}

std::optional<std::string_view> ProfileIndex::Find(std::string_view section, std::string_view key) const {
    const auto place = m_sections.find(section);
    if (place == m_sections.end()) {
        return std::nullopt;
    }
    const auto entry = place->second.find(key);
    return entry == place->second.end() ? std::nullopt : std::optional(entry->second);
}
