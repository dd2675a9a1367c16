// What the reading of a command line and the texts about it both ask of the table.
#pragma once

#include <string>
#include <vector>

#include "base/CommandLine.h"

namespace base {

// The words of a text; blanks separate them.
std::vector<std::string> Words(const std::string &text);

// The verb of that name, or null.
const Verb *FindVerb(const Program &program, const std::string &name);

// The first words of what follows `before` ("", "browser ") in the names of the verbs, each once.
std::vector<std::string> NextWords(const Program &program, const std::string &before);

// The options that may be given without a verb.
std::vector<Option> OptionsWithoutVerb(const Program &program);

} // namespace base
