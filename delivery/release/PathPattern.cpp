#include "delivery/release/PathPattern.h"

#include <algorithm>

#include "base/Utf8.h"

namespace delivery {

namespace {

// Takes what stands before the first "/" off the text, and the "/".
std::string_view TakePart(std::string_view &text, bool &isLast) {
    const std::size_t slash = text.find('/');
    isLast = slash == std::string_view::npos;
    const std::string_view part = text.substr(0, slash);
    text.remove_prefix(isLast ? text.size() : slash + 1);
    return part;
}

std::size_t CharacterLength(std::string_view text) {
    return std::max<std::size_t>(base::FirstCharacter(text).length, 1);
}

bool MatchesPart(std::string_view text, std::string_view pattern) {
    std::string_view afterStar; // the pattern behind the last "*"
    std::string_view covered;   // the text that this "*" does not cover yet
    bool hasStar = false;
    while (!text.empty()) {
        if (!pattern.empty() && pattern.front() == '*') {
            pattern.remove_prefix(1);
            afterStar = pattern;
            covered = text;
            hasStar = true;
        } else if (!pattern.empty() && pattern.front() == '?') {
            pattern.remove_prefix(1);
            text.remove_prefix(CharacterLength(text));
        } else if (!pattern.empty() && pattern.front() == text.front()) {
            pattern.remove_prefix(1);
            text.remove_prefix(1);
        } else if (hasStar) { // the last "*" covers one character more
            covered.remove_prefix(CharacterLength(covered));
            text = covered;
            pattern = afterStar;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*') == std::string_view::npos;
}

} // namespace

bool MatchesPattern(std::string_view path, std::string_view pattern) {
    bool lastOfPath = false;
    bool lastOfPattern = false;
    do {
        if (!MatchesPart(TakePart(path, lastOfPath), TakePart(pattern, lastOfPattern))) {
            return false;
        }
    } while (!lastOfPath && !lastOfPattern);
    return lastOfPath == lastOfPattern;
}

} // namespace delivery
