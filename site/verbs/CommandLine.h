// Options and operands of one verb.
#pragma once

#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lumsite {

struct Option {
    std::string name;  // "--port" or "-o"
    std::string value; // what stands for its value in the help, or empty for a switch
    std::string help;
};

// The shape of a verb's command line; Parse throws UsageError with the way to the help.
class CommandLine {
public:
    // `operands` is what follows the options in the usage line, `text` the paragraphs below it.
    CommandLine(std::string verb, std::string operands, std::string text, std::initializer_list<Option> options);

    // `least` and `most` bound the number of operands.
    void Parse(const std::vector<std::string> &arguments, size_t least, size_t most);

    bool helpWanted() const {
        return m_helpWanted;
    }
    std::string Help() const;
    const std::vector<std::string> &operands() const {
        return m_operands;
    }
    bool Has(const std::string &option) const {
        return m_values.count(option) != 0;
    }
    // The last value given, or nothing.
    std::optional<std::string> Value(const std::string &option) const;
    // The value as a whole number from `least` to `most`, or `otherwise` when the option is not given.
    long Number(const std::string &option, long otherwise, long least, long most) const;

private:
    const Option &Find(const std::string &name) const;
    [[noreturn]] void Refuse(const std::string &why) const;

    std::string m_verb;
    std::string m_operandsText;
    std::string m_text;
    std::vector<Option> m_options;
    std::map<std::string, std::string> m_values;
    std::vector<std::string> m_operands;
    bool m_helpWanted = false;
};

} // namespace lumsite
