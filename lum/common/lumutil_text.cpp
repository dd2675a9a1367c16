#include "lum/common/Assertion.h"
#include "lum/common/lumutil.h"

namespace {

constexpr SourceUnit kSource("lum/common/lumutil");

std::string Joined(const std::vector<std::string> &elements, char separator) {
    std::string text;
    for (const std::string &element : elements) {
        if (&element != &elements.front()) {
            text += separator;
        }
        text += element;
    }
    return text;
}

} // namespace

unsigned int CalcSequenceDistance(unsigned int from, unsigned int to) {
    return to - from;
}

std::string::size_type replaceall(std::string &text, const std::string &from, const std::string &to) {
    if (from.empty()) {
        return std::string::npos; // would be found everywhere, without end
    }
    std::string::size_type position = text.find(from);
    while (position != std::string::npos) {
        text.replace(position, from.size(), to);
        position = text.find(from, position + to.size());
    }
    return position;
}

std::vector<std::string> divideStr(const std::string &text, const std::string &separators) {
    std::vector<std::string> elements;
    if (text.empty() || separators.empty()) {
        return elements;
    }
    std::string::size_type start = 0;
    for (std::string::size_type end = text.find_first_of(separators); end != std::string::npos;
         end = text.find_first_of(separators, start)) {
        elements.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (start < text.size()) { // a separator at the end is followed by no element
        elements.push_back(text.substr(start));
    }
    return elements;
}

void FormalizeVersionString(std::string &out, const char *version) {
    if (!AssertionHolds(version != nullptr, "lpszSrc", kSource)) {
        return;
    }
    const std::vector<std::string> elements = divideStr(version, " ,\t\r\n");
    if (!elements.empty()) {
        out = Joined(elements, ',');
    }
    MacInfoTrace("FormalizeVersionString, version = %s", out.c_str());
}
