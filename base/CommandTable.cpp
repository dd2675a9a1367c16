#include "base/CommandTable.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace base {

std::vector<std::string> Words(const std::string &text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

const Verb *FindVerb(const Program &program, const std::string &name) {
    const auto found = std::ranges::find(program.verbs, name, &Verb::name);
    return found == program.verbs.end() ? nullptr : &*found;
}

std::vector<std::string> NextWords(const Program &program, const std::string &before) {
    std::vector<std::string> next;
    for (const Verb &verb : program.verbs) {
        if (!verb.name.starts_with(before) || verb.name.empty()) {
            continue;
        }
        std::string word = Words(verb.name.substr(before.size())).front();
        if (std::ranges::find(next, word) == next.end()) {
            next.push_back(std::move(word));
        }
    }
    return next;
}

std::vector<Option> OptionsWithoutVerb(const Program &program) {
    const Verb *nameless = FindVerb(program, "");
    std::vector<Option> options = nameless ? nameless->options : std::vector<Option>();
    options.insert(options.end(), program.options.begin(), program.options.end());
    return options;
}

} // namespace base
