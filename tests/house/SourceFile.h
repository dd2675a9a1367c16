// A source file's directives, as far as the rules of the tree are about them.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

struct Inclusion {
    std::string header; // as written between the quotes or brackets
    bool quoted;
};

// Of #include and #import lines.
std::vector<Inclusion> InclusionsIn(std::string_view text);

// The conditions of #if, #ifdef, #ifndef and #elif, continued lines joined.
std::vector<std::string> ConditionsIn(std::string_view text);

// Every identifier in a condition but `defined`.
std::vector<std::string> NamesIn(std::string_view condition);

// The project's sources and headers, relative to `root`. Build folders (build*), hidden ones and node_modules are
// skipped.
std::vector<std::filesystem::path> SourcesBelow(const std::filesystem::path &root);
