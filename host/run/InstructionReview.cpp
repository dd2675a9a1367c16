#include "host/run/InstructionReview.h"

#include <cstdlib>

#include "base/Text.h"
#include "delivery/instructions/InstructionFile.h"
#include "delivery/instructions/ItemLine.h"

namespace lumhost {

namespace {

constexpr const char *kTellOperator = ". Tell the operator of the site.";
constexpr std::size_t kShortestItemLine = 2; // a shorter one ends the list

bool IsWebPage(std::string_view text) {
    const std::string start = base::Lower(text.substr(0, 4096));
    const std::size_t first = start.find_first_not_of(" \t\r\n\xEF\xBB\xBF");
    return first != std::string::npos && start[first] == '<' &&
           (start.find("<html") != std::string::npos || start.find("<!doctype") != std::string::npos);
}

std::string SectionNames(const delivery::InstructionFile &file) {
    constexpr std::size_t kMost = 5;
    std::string names;
    for (std::size_t i = 0; i < std::min(file.sections.size(), kMost); ++i) {
        names += (names.empty() ? "" : ", ") + base::Quoted(file.sections[i].name);
    }
    return names + (file.sections.size() > kMost ? ", ..." : "");
}

// The item lines that the extension reads, in order; `gap` is then the number of the one that is missing, or 0.
std::vector<std::string> ItemLines(const delivery::InstructionSection &section, long count, long &gap) {
    std::vector<std::string> lines;
    gap = 0;
    for (long i = 1; i <= count; ++i) {
        const delivery::InstructionEntry *entry = section.Find("File" + std::to_string(i));
        if (!entry || entry->value.size() < kShortestItemLine) {
            gap = i;
            break;
        }
        lines.push_back(entry->value);
    }
    return lines;
}

long CountOf(const delivery::InstructionSection &section) {
    const delivery::InstructionEntry *count = section.Find("Count");
    return count ? std::strtol(count->value.c_str(), nullptr, 10) : 0;
}

} // namespace

InstructionReview ReviewInstructions(std::string_view text, const delivery::Page &page, const std::string &host) {
    InstructionReview review;
    const std::string file = host + ": the instruction file " + delivery::kInstructionFileName;
    const std::string *asked = page.Find("LumActiveIniSection");
    const std::string *component = page.Find("LumComponentName");
    const delivery::InstructionFile content = delivery::ReadInstructions(text);
    const delivery::InstructionSection *section = content.Find(asked ? *asked : delivery::kDefaultSection);
    if (!section) {
        review.isForeign = IsWebPage(text);
        review.fault = review.isForeign
                           ? host + ": a web page came in the place of the instruction file " +
                                 delivery::kInstructionFileName +
                                 ", perhaps the login page of the network. Open the site in a browser, log in if it "
                                 "asks for that, and try again."
                           : file + " has no section " + base::Quoted(asked ? *asked : delivery::kDefaultSection) +
                                 (asked ? ", which the page names" : "") + "; it has " +
                                 (content.sections.empty() ? "none" : SectionNames(content)) + kTellOperator;
        return review;
    }
    long gap = 0;
    bool listed = !component; // of a page without one the extension says so itself
    for (const std::string &line : ItemLines(*section, CountOf(*section), gap)) {
        const std::vector<std::string> item = delivery::SplitItemLine(line);
        listed = listed || delivery::FoldCase(item.empty() ? "" : item[0]) == delivery::FoldCase(*component);
        if (item.size() > delivery::kHashMethod) {
            review.packages.push_back({item[delivery::kUrl], item[delivery::kHashValue], item[delivery::kHashMethod]});
        }
    }
    if (!listed) {
        review.fault = file + " does not list the page's component " + base::Quoted(*component) + " in the section " +
                       base::Quoted(section->name) +
                       (gap > 0 ? " (its list ends before File" + std::to_string(gap) + ", which is missing)" : "") +
                       kTellOperator;
    }
    return review;
}

} // namespace lumhost
