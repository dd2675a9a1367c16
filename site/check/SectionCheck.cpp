#include "site/check/SectionCheck.h"

#include <map>
#include <set>

#include "lum/common/lumutil.h"
#include "delivery/instructions/ItemLine.h"

namespace lumsite {

using namespace delivery;

namespace {

using base::Finding;
using base::Findings;
using base::Severity;

constexpr const char *kPublishAgain = "publish again, or correct the line by hand";

class SectionReader {
public:
    SectionReader(const std::filesystem::path &path, const InstructionFile &file, const std::string &name,
                  Findings &findings)
        : m_path(path), m_file(file), m_name(name), m_findings(findings) {}

    std::vector<SectionItem> Read();

private:
    void Error(int line, const std::string &what, const std::string &remedy) {
        m_findings.push_back({Severity::Error, InstructionLine(line), what, remedy});
    }
    void ReportMissingSection();
    int ReadCount();
    // The value of "File" and `number`, as the extension gets it.
    std::string Line(int number) const;
    void ReportGap(int number, int count);
    void ReportUnread(int count);
    void ReportTwins(const std::vector<SectionItem> &items);

    const std::filesystem::path &m_path;
    const InstructionFile &m_file;
    const std::string &m_name;
    Findings &m_findings;
    const InstructionSection *m_section = nullptr;
};

void SectionReader::ReportMissingSection() {
    std::string known;
    for (const InstructionSection &section : m_file.sections) {
        known += (known.empty() ? " (there are: " : ", ") + section.name;
    }
    m_findings.push_back({Severity::Error, kInstructionFileName,
                          "there is no section [" + m_name + "]" + (known.empty() ? "" : known + ")"),
                          "name an existing section in the page's LumActiveIniSection, or publish this one"});
}

int SectionReader::ReadCount() {
    const int count = static_cast<int>(QXGetPrivateProfileInt(m_name.c_str(), "Count", 0, m_path.c_str()));
    if (count < 1) {
        const InstructionEntry *entry = m_section->Find("Count");
        Error(entry ? entry->line : m_section->line,
              entry ? "Count \"" + entry->value + "\" is not a number above 0, so no item is read"
                    : "section [" + m_name + "] has no Count, so no item is read",
              "set Count to the number of File lines");
    }
    return count;
}

std::string SectionReader::Line(int number) const {
    char value[kLongestLine + 1];
    QXGetPrivateProfileString(m_name.c_str(), ("File" + std::to_string(number)).c_str(), "", value, sizeof value,
                              m_path.c_str());
    return value;
}

void SectionReader::ReportGap(int number, int count) {
    const InstructionEntry *entry = m_section->Find("File" + std::to_string(number));
    const InstructionEntry *countEntry = m_section->Find("Count");
    const std::string what =
        entry ? "File" + std::to_string(number) + " is shorter than two characters"
              : "Count is " + std::to_string(count) + ", but there is no File" + std::to_string(number);
    Error(entry        ? entry->line
          : countEntry ? countEntry->line
                       : m_section->line,
          what + "; reading ends before it",
          number == count ? "set Count to the number of File lines, or add the missing line"
                          : "number the File lines consecutively");
}

void SectionReader::ReportUnread(int count) {
    std::map<int, int> firstLines;
    for (const InstructionEntry &entry : m_section->entries) {
        const int number = FileNumber(entry.key);
        const bool looksLikeFile = FoldCase(entry.key).starts_with(FoldCase("File"));
        if (number == 0 && looksLikeFile) {
            Error(entry.line,
                  "key " + entry.key + " is not read; keys are File1, File2 and so on, without leading zeros",
                  "number the File lines from 1");
        } else if (number > count) {
            Error(entry.line, entry.key + " is not read: Count is " + std::to_string(count),
                  "set Count to the number of File lines");
        } else if (number != 0 && !firstLines.insert({number, entry.line}).second) {
            Error(entry.line,
                  entry.key + " occurs twice; only the one at line " + std::to_string(firstLines[number]) + " is read",
                  "number the File lines from 1, using each number once");
        }
    }
}

void SectionReader::ReportTwins(const std::vector<SectionItem> &items) {
    std::set<std::string> seen;
    for (const SectionItem &item : items) {
        if (!item.attributes.empty() && !seen.insert(FoldCase(item.attributes[kName])).second) {
            m_findings.push_back({Severity::Error, item.where,
                                  "an item named " + item.attributes[kName] + " exists above; only the first is found",
                                  "give each component a name of its own"});
        }
    }
}

std::vector<SectionItem> SectionReader::Read() {
    std::vector<SectionItem> items;
    m_section = m_file.Find(m_name);
    if (!m_section) {
        ReportMissingSection();
        return items;
    }
    const int count = ReadCount();
    for (int i = 1; i <= count; ++i) {
        const std::string line = Line(i);
        if (line.size() < 2) {
            ReportGap(i, count);
            break;
        }
        const InstructionEntry *entry = m_section->Find("File" + std::to_string(i));
        SectionItem item{InstructionLine(entry ? entry->line : m_section->line), SplitItemLine(line)};
        for (Finding finding : ExamineItem(item.attributes)) {
            finding.where = item.where;
            if (finding.remedy.empty()) {
                finding.remedy = kPublishAgain;
            }
            m_findings.push_back(std::move(finding));
        }
        items.push_back(std::move(item));
    }
    ReportUnread(count);
    ReportTwins(items);
    return items;
}

} // namespace

std::vector<SectionItem> ReadSection(const std::filesystem::path &path, const InstructionFile &file,
                                     const std::string &section, Findings &findings) {
    return SectionReader(path, file, section, findings).Read();
}

} // namespace lumsite
