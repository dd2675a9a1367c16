#include "tests/house/sourcefile.h"

#include <algorithm>
#include <regex>
#include <set>

namespace {

std::string WithContinuedLinesJoined(std::string_view text) {
    return std::regex_replace(std::string(text), std::regex("\\\\\r?\n"), " ");
}

template <class Take> void ForEachMatch(const std::string &text, const char *pattern, Take take) {
    const std::regex expression(pattern, std::regex::ECMAScript | std::regex::multiline);
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match) {
        take(*match);
    }
}

} // namespace

std::vector<Inclusion> InclusionsIn(std::string_view text) {
    std::vector<Inclusion> inclusions;
    ForEachMatch(WithContinuedLinesJoined(text), R"(^[ \t]*#[ \t]*(?:include|import)[ \t]*(["<])([^">\n]+)[">])",
                 [&](const std::smatch &match) {
                     inclusions.push_back({match[2], match[1] == "\""});
                 });
    return inclusions;
}

std::vector<std::string> ConditionsIn(std::string_view text) {
    std::vector<std::string> conditions;
    ForEachMatch(WithContinuedLinesJoined(text), R"(^[ \t]*#[ \t]*(?:if|ifdef|ifndef|elif)\b([^\n]*))",
                 [&](const std::smatch &match) { conditions.push_back(match[1]); });
    return conditions;
}

std::vector<std::string> NamesIn(std::string_view condition) {
    std::vector<std::string> names;
    ForEachMatch(std::string(condition), R"(\b[A-Za-z_]\w*)", [&](const std::smatch &match) {
        if (match.str() != "defined") {
            names.push_back(match.str());
        }
    });
    return names;
}

std::vector<std::filesystem::path> SourcesBelow(const std::filesystem::path &root, const std::string &folder) {
    static const std::set<std::string> extensions = {".h", ".hpp", ".c", ".cc", ".cpp", ".m", ".mm"};
    std::vector<std::filesystem::path> sources;
    if (!std::filesystem::exists(root / folder)) {
        return sources;
    }
    for (const auto &entry : std::filesystem::recursive_directory_iterator(root / folder)) {
        if (extensions.count(entry.path().extension())) {
            sources.push_back(std::filesystem::relative(entry.path(), root));
        }
    }
    std::sort(sources.begin(), sources.end());
    return sources;
}
