#include "tests/house/SourceFile.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace {

struct Directive {
    std::string word; // include, if, ...
    std::string rest;
};

std::string_view WithoutLeadingBlanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return text;
}

bool IsWordCharacter(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) || character == '_';
}

std::string_view LeadingWord(std::string_view text) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsWordCharacter);
    return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

std::vector<std::string> Lines(std::string_view text) {
    std::vector<std::string> lines(1);
    for (const char character : text) {
        if (character != '\n') {
            lines.back() += character;
        } else if (lines.back().ends_with('\\')) {
            lines.back().back() = ' '; // the line goes on
        } else {
            lines.emplace_back();
        }
    }
    return lines;
}

std::vector<Directive> DirectivesIn(std::string_view text) {
    std::vector<Directive> directives;
    for (const std::string &line : Lines(text)) {
        std::string_view rest = WithoutLeadingBlanks(line);
        if (!rest.starts_with('#')) {
            continue;
        }
        rest = WithoutLeadingBlanks(rest.substr(1));
        const std::string_view word = LeadingWord(rest);
        directives.push_back({std::string(word), std::string(WithoutLeadingBlanks(rest.substr(word.size())))});
    }
    return directives;
}

} // namespace

std::vector<Inclusion> InclusionsIn(std::string_view text) {
    std::vector<Inclusion> inclusions;
    for (const Directive &directive : DirectivesIn(text)) {
        if ((directive.word == "include" || directive.word == "import") && !directive.rest.empty()) {
            const bool quoted = directive.rest.front() == '"';
            const std::size_t end = directive.rest.find(quoted ? '"' : '>', 1);
            inclusions.push_back({directive.rest.substr(1, end - 1), quoted});
        }
    }
    return inclusions;
}

std::vector<std::string> ConditionsIn(std::string_view text) {
    static const std::set<std::string> words = {"if", "ifdef", "ifndef", "elif"};
    std::vector<std::string> conditions;
    for (const Directive &directive : DirectivesIn(text)) {
        if (words.count(directive.word)) {
            conditions.push_back(directive.rest);
        }
    }
    return conditions;
}

std::vector<std::string> NamesIn(std::string_view condition) {
    std::vector<std::string> names;
    while (!condition.empty()) {
        const std::string_view word = LeadingWord(condition);
        if (!word.empty() && !std::isdigit(static_cast<unsigned char>(word.front())) && word != "defined") {
            names.emplace_back(word);
        }
        condition.remove_prefix(std::max<std::size_t>(word.size(), 1));
    }
    return names;
}

std::vector<std::filesystem::path> SourcesBelow(const std::filesystem::path &root) {
    static const std::set<std::string> extensions = {".h", ".hpp", ".c", ".cc", ".cpp", ".m", ".mm"};
    std::vector<std::filesystem::path> sources;
    for (auto entry = std::filesystem::recursive_directory_iterator(root);
         entry != std::filesystem::recursive_directory_iterator(); ++entry) {
        const std::string name = entry->path().filename();
        if (entry->is_directory() && (name.starts_with('.') || name.starts_with("build") || name == "node_modules")) {
            entry.disable_recursion_pending();
        } else if (extensions.contains(entry->path().extension())) {
            sources.push_back(std::filesystem::relative(entry->path(), root));
        }
    }
    std::ranges::sort(sources);
    return sources;
}
