#include "site/verbs/CommandLine.h"

#include <algorithm>
#include <charconv>

#include "site/SiteError.h"

namespace lumsite {

CommandLine::CommandLine(std::string verb, std::string operands, std::string text,
                         std::initializer_list<Option> options)
    : m_verb(std::move(verb)), m_operandsText(std::move(operands)), m_text(std::move(text)), m_options(options) {}

void CommandLine::Refuse(const std::string &why) const {
    throw UsageError("lumsite " + m_verb + ": " + why + "; see lumsite " + m_verb + " --help");
}

const Option &CommandLine::Find(const std::string &name) const {
    const auto found =
        std::find_if(m_options.begin(), m_options.end(), [&](const Option &option) { return option.name == name; });
    if (found == m_options.end()) {
        Refuse("unknown option " + name);
    }
    return *found;
}

void CommandLine::Parse(const std::vector<std::string> &arguments, size_t least, size_t most) {
    bool onlyOperands = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string &argument = arguments[i];
        if (onlyOperands || argument.size() < 2 || argument[0] != '-') {
            m_operands.push_back(argument);
        } else if (argument == "--") {
            onlyOperands = true;
        } else if (argument == "--help" || argument == "-h") {
            m_helpWanted = true;
            return;
        } else {
            const size_t equals = argument.starts_with("--") ? argument.find('=') : std::string::npos;
            const Option &option = Find(argument.substr(0, equals));
            if (option.value.empty() && equals != std::string::npos) {
                Refuse("option " + option.name + " takes no value");
            }
            if (!option.value.empty() && equals == std::string::npos && i + 1 == arguments.size()) {
                Refuse("option " + option.name + " needs a value");
            }
            m_values[option.name] = option.value.empty()          ? ""
                                    : equals != std::string::npos ? argument.substr(equals + 1)
                                                                  : arguments[++i];
        }
    }
    if (m_operands.size() < least) {
        Refuse("too few arguments, expected " + m_operandsText);
    }
    if (m_operands.size() > most) {
        Refuse("unexpected argument " + m_operands[most]);
    }
}

std::string CommandLine::Help() const {
    std::string text = "usage: lumsite " + m_verb + (m_options.empty() ? " " : " [options] ") + m_operandsText +
                       "\n\n" + m_text + "\n";
    for (const Option &option : m_options) {
        std::string head = "  " + option.name + (option.value.empty() ? "" : " " + option.value);
        head.resize(std::max<size_t>(head.size() + 2, 26), ' ');
        text += head + option.help + "\n";
    }
    return text;
}

std::optional<std::string> CommandLine::Value(const std::string &option) const {
    const auto found = m_values.find(option);
    return found == m_values.end() ? std::nullopt : std::optional(found->second);
}

long CommandLine::Number(const std::string &option, long otherwise, long least, long most) const {
    const std::optional<std::string> text = Value(option);
    if (!text) {
        return otherwise;
    }
    long number = 0;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
    if (error != std::errc() || end != text->data() + text->size() || number < least || number > most) {
        Refuse("option " + option + " needs a number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

} // namespace lumsite
