// The command line of a program that does one of several things: described once, in a table, from which come the
// reading of what was typed, the help, bash's completion and the tables of the manual page.
//
//     const base::Program kProgram = {.name = "lumsite", .verbs = {{.name = "pack", ...}}};
//     base::Result<base::CommandLine> line = base::ReadCommandLine(kProgram, arguments);
//
// An option may stand before or behind the operands; its value follows as the next argument or after "=". What follows
// "--" is an operand. Of an option given twice the last value counts, unless the caller asks for all.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/Result.h"

namespace base {

// What bash offers where a value or an operand is to be typed.
struct Offer {
    enum class Kind { Nothing, Files, Words, Command };
    Kind kind = Kind::Nothing;
    // Files: a pattern that the names of files must match, empty for all. Words: the words, separated by spaces.
    // Command: what prints the words, one a line.
    std::string detail = {};
};

struct Option {
    std::string name;       // "--port" or "-o"
    std::string value = {}; // what stands for the value in the help ("N"); empty for an option without a value
    std::string help = {};  // what it does: one or more phrases, without a full stop at the end
    Offer offer = {};       // Words: the only values that are accepted
    // What values are accepted, in words ("a number of seconds, for example 30") and as a function; any but an empty
    // one by default.
    std::string expected = {};
    std::function<bool(const std::string &)> accepts = {};
};

// An option whose value is a whole number of that range, with an `expected` to match.
Option WholeNumberOption(std::string name, std::string value, std::string help, long least, long most);

struct Verb {
    std::string name;          // "pack", "browser install"; empty for what the program does when no verb comes first
    std::string operands = {}; // as the help shows them: "MANIFEST SITE"
    std::size_t fewest = 0;    // how many operands there must be,
    std::size_t most = 0;      // and may be
    std::string summary = {};  // what it does, in a phrase for the list of verbs
    std::string text = {};     // what else there is to say, as sentences; paragraphs are separated by an empty line
    std::vector<Option> options = {};
    Offer offer = {}; // for the operands
};

struct Program {
    std::string name;
    std::string summary = {};         // a sentence
    std::vector<Verb> verbs = {};     // in the order of the help; the one without a name, if there is one, first
    std::vector<Option> options = {}; // that stand in the place of a verb: "--version"
    std::string text = {};            // at the end of the help: what else there is to know, such as the exit status
};

// What was typed.
class CommandLine {
public:
    // The name of the verb; empty for the one without a name, or when an option stands in its place.
    const std::string &verb() const {
        return m_verb;
    }
    const std::vector<std::string> &operands() const {
        return m_operands;
    }
    // "--help" or "-h" was given; nothing else is checked then.
    bool HelpWanted() const {
        return m_helpWanted;
    }
    bool Has(const std::string &option) const {
        return m_values.contains(option);
    }
    // The last value given; nothing without the option.
    std::optional<std::string> Value(const std::string &option) const;
    // All values, in the order given.
    std::vector<std::string> Values(const std::string &option) const;
    // The last value of a WholeNumberOption, or `otherwise` without the option.
    long Number(const std::string &option, long otherwise) const;

private:
    friend class CommandLineReader;

    std::string m_verb;
    std::vector<std::string> m_operands;
    std::map<std::string, std::vector<std::string>> m_values;
    bool m_helpWanted = false;
};

// `arguments` without the program's name. An Error says what was wrong and where to look, as a text to stand behind
// the program's name and a colon: `serve: --port: "x" is not a whole number from 0 to 65535`.
Result<CommandLine> ReadCommandLine(const Program &program, const std::vector<std::string> &arguments);

// An error of that form, for what only the program can check ("--log-endpoint: ...", "one page at a time"): names the
// verb in front, the way to its help at the end.
Error WrongUse(const Program &program, const std::string &verb, const std::string &what);

// What "--help" prints: of the verb of that name, which must exist, or of the whole program when it is empty.
std::string HelpText(const Program &program, const std::string &verb = {});

// A completion script for bash.
std::string CompletionScript(const Program &program);

// `page`, a manual page in mdoc, with these lines replaced by what the table says: "@SYNOPSIS@", "@VERBS@" (a
// tagged list of all verbs with a name, and of their options) and "@OPTIONS@" (one of the options of the verb without a
// name and of the program).
std::string ManualPage(const Program &program, const std::string &page);

} // namespace base
