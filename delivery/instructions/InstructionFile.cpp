#include "delivery/instructions/InstructionFile.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "base/Ascii.h"
#include "base/Text.h"
#include "delivery/instructions/ItemLine.h"

namespace delivery {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::size_t kShortestItemLine = 2; // the extension stops reading at a shorter one

std::string_view Trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string_view WithoutQuotes(std::string_view value) {
    if (value.empty() || (value.front() != '"' && value.front() != '\'') || value.back() != value.front()) {
        return value;
    }
    return value.size() == 1 ? std::string_view() : Trim(value.substr(1, value.size() - 2));
}

class InstructionReader {
public:
    InstructionFile Read(std::string_view text);

private:
    void TakePiece(std::string_view piece);
    void TakeHeader(std::string_view piece);
    void Fault(base::Severity severity, const std::string &what, const std::string &remedy) {
        m_file.faults.push_back({severity, InstructionLine(m_line), what, remedy});
    }

    InstructionFile m_file;
    std::unordered_map<std::string, int> m_firstLines; // of the sections, by their names in lower case
    int m_line = 0;
};

void InstructionReader::TakeHeader(std::string_view piece) {
    const std::size_t opening = piece.find('[');
    const std::size_t closing = piece.find(']');
    // The line ends at its first "]"; one that comes too early ends nothing.
    const std::size_t end = closing > opening ? closing : piece.size();
    const std::string name(Trim(piece.substr(opening + 1, end - opening - 1)));
    if (Trim(piece).front() != '[') {
        Fault(base::Severity::Error,
              "the line holds both \"[\" and \"]\" and is taken for the section [" + name +
                  "]; everything below it is not read",
              "leave the brackets out of the line");
    }
    const auto [known, isFirst] = m_firstLines.emplace(base::Lower(name), m_line);
    if (!isFirst && Trim(piece).front() == '[') {
        Fault(base::Severity::Warning,
              "section [" + name + "] stands a second time; only the one at line " + std::to_string(known->second) +
                  " is read",
              "give the section another name, or put its lines into the first one");
    }
    m_file.sections.push_back({m_line, name, {}});
}

void InstructionReader::TakePiece(std::string_view piece) {
    piece = piece.substr(0, piece.find('\0'));
    if (piece.find('[') != std::string_view::npos && piece.find(']') != std::string_view::npos) {
        TakeHeader(piece);
        return;
    }
    const std::size_t equals = piece.find('=');
    if (equals != std::string_view::npos && !m_file.sections.empty()) {
        m_file.sections.back().entries.push_back({m_line, std::string(Trim(piece.substr(0, equals))),
                                                  std::string(WithoutQuotes(Trim(piece.substr(equals + 1))))});
    }
}

InstructionFile InstructionReader::Read(std::string_view text) {
    bool isMarked = text.starts_with(kByteOrderMark);
    while (!text.empty()) {
        ++m_line;
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        if (line.size() > kLongestLine) {
            Fault(base::Severity::Error,
                  "the line has " + std::to_string(line.size()) + " characters and is cut after " +
                      std::to_string(kLongestLine),
                  "shorten what is on it, such as the package's path");
        }
        do {
            std::string_view piece = line.substr(0, kLongestLine);
            if (std::exchange(isMarked, false)) { // the extension reads a header behind it; the mark counts in the cut
                Fault(base::Severity::Warning, "the file begins with a byte-order mark",
                      "save it as UTF-8 without one");
                piece.remove_prefix(kByteOrderMark.size());
            }
            TakePiece(piece);
            line.remove_prefix(std::min(line.size(), kLongestLine));
        } while (!line.empty());
    }
    return std::move(m_file);
}

} // namespace

const InstructionEntry *InstructionSection::Find(std::string_view key) const {
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const InstructionEntry &entry) {
        return base::EqualsIgnoringCase(entry.key, key);
    });
    return found == entries.end() ? nullptr : &*found;
}

const InstructionSection *InstructionFile::Find(std::string_view name) const {
    const auto found = std::find_if(sections.begin(), sections.end(), [&](const InstructionSection &section) {
        return base::EqualsIgnoringCase(section.name, name);
    });
    return found == sections.end() ? nullptr : &*found;
}

InstructionFile ReadInstructions(std::string_view text) {
    return InstructionReader().Read(text);
}

std::vector<const InstructionEntry *> ItemEntries(const InstructionSection &section) {
    std::unordered_map<std::string, const InstructionEntry *> first;
    for (const InstructionEntry &entry : section.entries) {
        first.emplace(base::Lower(entry.key), &entry);
    }
    std::vector<const InstructionEntry *> entries;
    for (;;) {
        const auto found = first.find("file" + std::to_string(entries.size() + 1));
        if (found == first.end() || found->second->value.size() < kShortestItemLine) {
            return entries;
        }
        entries.push_back(found->second);
    }
}

bool IsInstructionAddress(std::string_view address) {
    return address.substr(0, address.rfind('?')).ends_with("/" + std::string(kInstructionFileName));
}

std::string InstructionLine(int line) {
    return std::string(kInstructionFileName) + ":" + std::to_string(line);
}

int FileNumber(std::string_view key) {
    constexpr std::string_view word = "file";
    if (key.size() <= word.size() || !base::EqualsIgnoringCase(key.substr(0, word.size()), word) ||
        key[word.size()] == '0') {
        return 0;
    }
    const int number = base::ReadNumber<int>(key.substr(word.size())).value_or(0);
    return std::max(number, 0);
}

} // namespace delivery
