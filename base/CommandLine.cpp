#include "base/CommandLine.h"

#include <algorithm>
#include <CLI/CLI.hpp>

#include "base/CommandTable.h"
#include "base/Text.h"

namespace base {

namespace {

constexpr const char *kHelpOption = "--help";
constexpr int kAnyNumber = CLI::detail::expected_max_vector_size - 1;

// The verb whose words come first; of two ("browser", "browser install") the longer.
const Verb *LeadingVerb(const Program &program, const std::vector<std::string> &arguments) {
    const Verb *leading = nullptr;
    for (const Verb &verb : program.verbs) {
        const std::vector<std::string> words = Words(verb.name);
        if (!words.empty() && words.size() <= arguments.size() &&
            std::equal(words.begin(), words.end(), arguments.begin()) &&
            (!leading || words.size() > Words(leading->name).size())) {
            leading = &verb;
        }
    }
    return leading;
}

// "a, b or c"
std::string Alternatives(const std::vector<std::string> &words) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
    }
    return text;
}

std::string Expected(const Option &option) {
    if (!option.expected.empty()) {
        return option.expected;
    }
    if (option.offer.kind == Offer::Kind::Words) {
        return Alternatives(Words(option.offer.detail));
    }
    return option.offer.kind == Offer::Kind::Files ? "a file name" : "a value for " + option.value;
}

bool Accepts(const Option &option, const std::string &value) {
    if (option.accepts) {
        return option.accepts(value);
    }
    if (option.offer.kind == Offer::Kind::Words) {
        const std::vector<std::string> words = Words(option.offer.detail);
        return std::ranges::find(words, value) != words.end();
    }
    return !value.empty();
}

} // namespace

Option WholeNumberOption(std::string name, std::string value, std::string help, long least, long most) {
    return {.name = std::move(name),
            .value = std::move(value),
            .help = std::move(help),
            .expected = "a whole number from " + std::to_string(least) + " to " + std::to_string(most),
            .accepts = [least, most](const std::string &text) {
                const std::optional<long> number = ReadNumber<long>(text);
                return number && *number >= least && *number <= most;
            }};
}

std::optional<std::string> CommandLine::Value(const std::string &option) const {
    const auto found = m_values.find(option);
    return found == m_values.end() || found->second.empty() ? std::nullopt : std::optional(found->second.back());
}

std::vector<std::string> CommandLine::Values(const std::string &option) const {
    const auto found = m_values.find(option);
    return found == m_values.end() ? std::vector<std::string>() : found->second;
}

long CommandLine::Number(const std::string &option, long otherwise) const {
    return ReadNumber<long>(Value(option).value_or("")).value_or(otherwise);
}

Error WrongUse(const Program &program, const std::string &verb, const std::string &what) {
    const std::string of = verb.empty() ? "" : " " + verb;
    return {(verb.empty() ? "" : verb + ": ") + what + "; see \"" + program.name + of + " --help\""};
}

// Hands the arguments of one verb to CLI11.
class CommandLineReader {
public:
    CommandLineReader(const Program &program, const Verb &verb)
        : m_program(program), m_verb(verb), m_options(verb.name.empty() ? OptionsWithoutVerb(program) : verb.options) {
        m_app.set_help_flag();
        m_app.allow_extras(); // options that are not known
        m_app.add_flag("-h,--help");
        // Any number; what CLI11 calls "extra arguments" would take "[a]" apart.
        m_app.add_option("operands")
            ->expected(kAnyNumber, kAnyNumber)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        for (const Option &option : m_options) {
            Add(option);
        }
    }

    Result<CommandLine> Read(const std::vector<std::string> &arguments) {
        try {
            m_app.parse(Reversed(arguments));
        } catch (const CLI::ArgumentMismatch &) {
            return Fail(Wrong(Mismatch(arguments)));
        } catch (const CLI::ParseError &error) {
            return Fail(Wrong(error.what()));
        }
        CommandLine line;
        line.m_verb = m_verb.name;
        line.m_helpWanted = m_app.count(kHelpOption) > 0;
        line.m_operands = m_app.get_option("operands")->results();
        for (const Option &option : m_options) {
            if (m_app.count(option.name) > 0) {
                line.m_values[option.name] =
                    option.value.empty() ? std::vector<std::string>() : m_app[option.name]->results();
            }
        }
        if (const std::optional<std::string> wrong = line.m_helpWanted ? std::nullopt : WhatIsWrong(line)) {
            return Fail(Wrong(*wrong));
        }
        return line;
    }

private:
    void Add(const Option &option) {
        if (option.value.empty()) {
            m_app.add_flag(option.name)->disable_flag_override();
            return;
        }
        m_app.add_option(option.name)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
            ->check([&option](const std::string &value) {
                return Accepts(option, value) ? "" : Quoted(value) + " is not " + Expected(option);
            });
    }

    // As CLI11 wants them. "--log=" takes no value from the next argument.
    std::vector<std::string> Reversed(std::vector<std::string> arguments) const {
        for (std::size_t i = 0; i < arguments.size() && arguments[i] != "--"; ++i) {
            if (arguments[i].ends_with('=') && TakesValue(arguments[i].substr(0, arguments[i].size() - 1))) {
                arguments[i].pop_back();
                arguments.insert(arguments.begin() + static_cast<std::ptrdiff_t>(++i), "");
            }
        }
        std::ranges::reverse(arguments);
        return arguments;
    }

    bool TakesValue(const std::string &name) const {
        const auto found = std::ranges::find(m_options, name, &Option::name);
        return found != m_options.end() && !found->value.empty();
    }

    // A value too few or too many.
    std::string Mismatch(const std::vector<std::string> &arguments) const {
        const auto last = std::ranges::find(m_options, arguments.back(), &Option::name);
        if (last != m_options.end() && !last->value.empty()) {
            return last->name + " needs " + Expected(*last);
        }
        const auto given = std::ranges::find_if(arguments, [this](const std::string &argument) {
            const std::string name = argument.substr(0, argument.find('='));
            return name.size() < argument.size() && name.starts_with("--") && !TakesValue(name);
        });
        return (given == arguments.end() ? "an option" : given->substr(0, given->find('='))) + " takes no value";
    }

    std::optional<std::string> WhatIsWrong(const CommandLine &line) const {
        const std::vector<std::string> rest = m_app.remaining(); // CLI11 leaves "--" there, too
        const auto unknown = std::ranges::find_if(rest, [](const std::string &option) { return option != "--"; });
        if (unknown != rest.end()) {
            return "there is no option " + OneLine(unknown->substr(0, unknown->find('=')));
        }
        const bool instead = std::ranges::any_of(m_program.options, [&](const Option &o) { return line.Has(o.name); });
        if (!instead && line.operands().size() < m_verb.fewest) {
            return (m_verb.name.empty() ? "" : "it needs ") + m_verb.operands +
                   (m_verb.name.empty() ? " is missing" : "");
        }
        const auto verb = std::ranges::find_if(
            line.operands(), [this](const std::string &operand) { return FindVerb(m_program, operand) != nullptr; });
        if (m_verb.name.empty() && verb != line.operands().end()) {
            return "the command " + *verb + " must come first (a file of that name is written ./" + *verb + ")";
        }
        if (line.operands().size() > m_verb.most) {
            return Quoted(line.operands()[m_verb.most]) + " is one word too many";
        }
        return std::nullopt;
    }

    Error Wrong(const std::string &what) const {
        return WrongUse(m_program, m_verb.name, what);
    }

    const Program &m_program;
    const Verb &m_verb;
    std::vector<Option> m_options;
    CLI::App m_app;
};

Result<CommandLine> ReadCommandLine(const Program &program, const std::vector<std::string> &arguments) {
    const Verb *verb = LeadingVerb(program, arguments);
    if (verb) {
        const auto behind = static_cast<std::ptrdiff_t>(Words(verb->name).size());
        return CommandLineReader(program, *verb).Read({arguments.begin() + behind, arguments.end()});
    }
    if (!arguments.empty()) {
        // Of the verbs with two words only the first was typed.
        const std::vector<std::string> next = NextWords(program, arguments.front() + " ");
        if (!next.empty()) {
            return Fail(WrongUse(program, "", arguments.front() + " needs " + Alternatives(next) + " behind it"));
        }
    }
    if (const Verb *nameless = FindVerb(program, "")) {
        return CommandLineReader(program, *nameless).Read(arguments);
    }
    static const Verb kNone{.name = "", .operands = "a command", .fewest = 1, .most = 0};
    if (!arguments.empty() && !arguments.front().starts_with('-')) {
        return Fail(WrongUse(program, "", "there is no command " + Quoted(arguments.front())));
    }
    return CommandLineReader(program, kNone).Read(arguments);
}

} // namespace base
