#include <algorithm>
#include <cctype>
#include <sstream>

#include "base/CommandTable.h"

namespace base {

namespace {

constexpr std::size_t kHelpWidth = 100;

// Lines of at most kHelpWidth, the first behind `head`, all behind `indent` columns.
std::string Wrapped(const std::string &head, std::size_t indent, const std::string &text) {
    std::string out = head;
    std::size_t column = head.size();
    if (column + 2 > indent && column > 0) {
        out += '\n';
        column = 0;
    }
    out.append(indent - column, ' ');
    column = indent;
    for (const std::string &word : Words(text)) {
        if (column > indent && column + 1 + word.size() > kHelpWidth) {
            out += '\n' + std::string(indent, ' ');
            column = indent;
        }
        if (column > indent) {
            out += ' ';
            ++column;
        }
        out += word;
        column += word.size();
    }
    return out + '\n';
}

std::vector<std::string> Paragraphs(const std::string &text) {
    std::vector<std::string> paragraphs;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find("\n\n", begin), text.size());
        paragraphs.push_back(text.substr(begin, end - begin));
        begin = end + 2;
    }
    return paragraphs;
}

std::string Prose(const std::string &text) {
    std::string out;
    for (const std::string &paragraph : Paragraphs(text)) {
        out += "\n" + Wrapped("", 0, paragraph);
    }
    return out;
}

std::string Head(const Option &option) {
    return option.name + (option.value.empty() ? "" : " " + option.value);
}

// "browser install [--user] [--system]": options by name where they are few.
std::string Head(const Verb &verb) {
    std::string head = verb.name;
    for (const Option &option : verb.options) {
        head += verb.options.size() <= 2         ? " [" + Head(option) + "]"
                : &option == verb.options.data() ? " [options]"
                                                 : "";
    }
    return head + (verb.operands.empty() ? "" : " " + verb.operands);
}

std::string OptionList(const std::vector<Option> &options) {
    constexpr std::size_t kIndent = 24;
    std::string out;
    for (const Option &option : options) {
        out += Wrapped("  " + Head(option), kIndent, option.help);
    }
    return out + Wrapped("  -h, --help", kIndent, "print this text");
}

std::string HelpOfVerb(const Program &program, const Verb &verb) {
    std::string summary = verb.summary + ".";
    summary.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(summary.front())));
    return "usage: " + program.name + " " + verb.name + (verb.options.empty() ? "" : " [options]") +
           (verb.operands.empty() ? "" : " " + verb.operands) + "\n" + Prose(summary) + Prose(verb.text) +
           "\nOptions:\n" + OptionList(verb.options);
}

} // namespace

std::string HelpText(const Program &program, const std::string &verb) {
    if (!verb.empty()) {
        return HelpOfVerb(program, *FindVerb(program, verb));
    }
    constexpr std::size_t kIndent = 28;
    const Verb *nameless = FindVerb(program, "");
    std::string out = "usage: " + program.name;
    out += nameless ? " [options] " + nameless->operands + "\n       " + program.name : "";
    out += " COMMAND ...\n" + Prose(program.summary) + (nameless ? Prose(nameless->text) : "");
    out += "\nCommands:\n";
    for (const Verb &each : program.verbs) {
        out += each.name.empty() ? "" : Wrapped("  " + Head(each), kIndent, each.summary);
    }
    out += "\nOptions:\n" + OptionList(OptionsWithoutVerb(program));
    return out + Prose("\"" + program.name + " COMMAND --help\" explains a command and its options.") +
           Prose(program.text);
}

namespace {

std::string Quote(const std::string &text) {
    return "'" + text + "'";
}

// Lines that make bash offer it.
std::string Offering(const Offer &offer) {
    switch (offer.kind) {
    case Offer::Kind::Nothing:
        return "";
    case Offer::Kind::Files:
        return "files=" + Quote(offer.detail.empty() ? "*" : offer.detail);
    case Offer::Kind::Words:
        return "words=" + Quote(offer.detail);
    case Offer::Kind::Command:
        return "words=$(" + offer.detail + " 2>/dev/null)";
    }
    return "";
}

// The branch of one verb: what may follow an option with a value, else options or operands.
std::string Branch(const std::vector<Option> &options, const Verb &verb, const std::string &firstWords) {
    std::string values;
    std::string names;
    for (const Option &option : options) {
        names += option.name + " ";
        if (!option.value.empty()) {
            values += "    " + option.name + ") value=1 " + Offering(option.offer) + " ;;\n";
        }
    }
    std::string text = "    options='" + names + "--help -h'\n";
    if (!values.empty()) {
        text += "    case $previous in\n" + values + "    esac\n";
    }
    std::string operands = Offering(verb.offer);
    if (!firstWords.empty()) {
        operands += std::string(operands.empty() ? "" : "; ") + "[ $COMP_CWORD -gt 1 ] || words='" + firstWords + "'";
    }
    if (operands.empty() && verb.operands.empty() && !names.empty()) {
        operands = "words='" + names + "'"; // nothing else is to be typed: no need to type a "-" first
    }
    if (operands.empty()) {
        return text;
    }
    return text + (values.empty() ? "    " + operands + "\n" : "    [ \"$value\" ] || { " + operands + "; }\n");
}

std::string Joined(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

} // namespace

std::string CompletionScript(const Program &program) {
    std::string cases;
    for (const Verb &verb : program.verbs) {
        if (!verb.name.empty()) {
            cases += "  " + Quote(verb.name + " ") + "*)\n" + Branch(verb.options, verb, "") + "    ;;\n";
        }
    }
    for (const std::string &first : NextWords(program, "")) { // of verbs with two words
        if (const std::vector<std::string> next =
                FindVerb(program, first) ? std::vector<std::string>() : NextWords(program, first + " ");
            !next.empty()) {
            cases += "  " + Quote(first + " ") + "*) words='" + Joined(next) + "' ;;\n";
        }
    }
    const Verb *nameless = FindVerb(program, "");
    cases +=
        "  *)\n" +
        Branch(OptionsWithoutVerb(program), nameless ? *nameless : Verb{.name = ""}, Joined(NextWords(program, ""))) +
        "    ;;\n";
    return "# Completion of " + program.name + "'s command line, for bash.\n\n_" + program.name + R"(() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} value= words= files= options=
  COMPREPLY=()
  # bash takes "=" for a word of its own.
  if [ "$current" = = ]; then
    current=
  elif [ "$previous" = = ]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  case "${COMP_WORDS[*]:1:COMP_CWORD-1} " in
)" + cases +
           R"(  esac
  if [ -z "$value" ] && [ "${current:0:1}" = - ]; then
    words=$options files=
  fi
  if [ "$files" ]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -X "!$files" -- "$current")
    [ "$files" = '*' ] || mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -d -- "$current")
  fi
  mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _)" +
           program.name + " " + program.name + "\n";
}

namespace {

// Text as lines of mdoc, a sentence a line: nothing in it is taken for a request or an escape.
std::string Plain(const std::string &text) {
    std::string out;
    for (const std::string &word : Words(text)) {
        const bool first = out.empty() || out.ends_with('\n');
        out += first && (word.front() == '.' || word.front() == '\'') ? "\\&" : "";
        for (const char character : word) {
            out += character == '\\' ? "\\e" : std::string(1, character);
        }
        out += word.back() == '.' ? '\n' : ' ';
    }
    if (!out.empty()) {
        out.back() = '\n';
    }
    return out;
}

std::string Sentence(std::string text) {
    if (!text.empty() && !text.ends_with('.')) {
        text += '.';
    }
    if (!text.empty()) {
        text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    }
    return Plain(text);
}

// "Fl -port Ar N"
std::string Markup(const Option &option) {
    return "Fl " + option.name.substr(1) + (option.value.empty() ? "" : " Ar " + option.value);
}

std::string Items(const std::vector<Option> &options) {
    std::string out;
    for (const Option &option : options) {
        out += ".It " + Markup(option) + "\n" + Sentence(option.help);
    }
    return out;
}

std::string List(const std::string &items) {
    return ".Bl -tag -width Ds\n" + items + ".El\n";
}

std::string ManualSynopsis(const Program &program) {
    std::string out;
    for (const Verb &verb : program.verbs) {
        out += ".Nm\n" + (verb.name.empty() ? "" : ".Cm " + verb.name + "\n");
        for (const Option &option : verb.options) {
            out += ".Op " + Markup(option) + "\n";
        }
        out += verb.operands.empty() ? "" : ".Ar " + verb.operands + "\n";
    }
    for (const Option &option : program.options) {
        out += ".Nm\n." + Markup(option) + "\n";
    }
    return out + ".Nm\n.Op Ar command\n.Fl -help\n";
}

std::string ManualVerbs(const Program &program) {
    std::string items;
    for (const Verb &verb : program.verbs) {
        if (verb.name.empty()) {
            continue;
        }
        items += ".It Cm " + verb.name + (verb.operands.empty() ? "" : " Ar " + verb.operands) + "\n" +
                 Sentence(verb.summary);
        for (const std::string &paragraph : Paragraphs(verb.text)) {
            items += Plain(paragraph);
        }
        items += verb.options.empty() ? "" : List(Items(verb.options));
    }
    return List(items);
}

std::string ManualOptions(const Program &program) {
    return List(Items(OptionsWithoutVerb(program)) +
                ".It Fl h , -help\nPrint a summary of the program or of the command.\n");
}

} // namespace

std::string ManualPage(const Program &program, const std::string &page) {
    std::istringstream lines(page);
    std::string out;
    for (std::string line; std::getline(lines, line);) {
        out += line == "@SYNOPSIS@"  ? ManualSynopsis(program)
               : line == "@VERBS@"   ? ManualVerbs(program)
               : line == "@OPTIONS@" ? ManualOptions(program)
                                     : line + "\n";
    }
    return out;
}

} // namespace base
