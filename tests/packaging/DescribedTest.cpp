// What is said of the programs: their manual pages and completions know what their own help knows.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "tests/support/TempDir.h"
#include "tests/support/TestSite.h"

namespace {

using Words = std::set<std::string>;

// The options ("--log") that the text names.
Words OptionsIn(const std::string &text) {
    static const std::regex option("(^|[^-a-z])(--[a-z][-a-z]*)");
    Words options;
    for (std::sregex_iterator found(text.begin(), text.end(), option), end; found != end; ++found) {
        options.insert((*found)[2]);
    }
    return options;
}

std::string Help(const std::string &program, const std::string &verb) {
    const std::string folder = program == "lumhost" ? "/host/" : "/site/";
    return OutputOf("'" TEST_BUILD + folder + program + "' " + verb + " --help");
}

std::string Manual(const std::string &program) {
    return OutputOf("mandoc -T html -O fragment '" TEST_SOURCE "/packaging/" + program + ".1'");
}

// What bash offers when the command line is `line` and the cursor at its end.
std::string Completions(const std::string &program, const std::string &line) {
    return OutputOf("cd \"$(mktemp -d)\" && touch a.html b.txt && PATH='" TEST_BUILD "/host:'$PATH bash --norc -c '"
                    ". " TEST_SOURCE "/packaging/completions/" +
                    program +
                    "\n"
                    "compopt() { :; }\n" // works within a real completion only
                    "IFS=\" \" read -ra COMP_WORDS <<<\"" +
                    line +
                    "\"\n"
                    "case \"" +
                    line +
                    "\" in *\" \") COMP_WORDS+=(\"\") ;; esac\n"
                    "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                    "_" +
                    program +
                    "\n"
                    "printf \"[%s]\" \"${COMPREPLY[@]}\"'");
}

const struct {
    const char *program;
    std::vector<const char *> verbs; // with a help of their own; "" the program's
} kPrograms[] = {{"lumhost", {""}}, {"lumsite", {"init", "pack", "publish", "serve", "check"}}};

} // namespace

TEST(Described, ManualsTellEveryOption) {
    for (const auto &[program, verbs] : kPrograms) {
        const Words told = OptionsIn(Manual(program));
        Words known = {"--help"};
        for (const char *verb : verbs) {
            known.merge(OptionsIn(Help(program, verb)));
        }
        EXPECT_EQ(told, known) << program;
    }
}

TEST(Described, ManualsAreWellFormed) {
    for (const auto &[program, verbs] : kPrograms) {
        OutputOf("mandoc -T lint -W warning '" TEST_SOURCE "/packaging/" + std::string(program) + ".1'");
    }
    OutputOf("desktop-file-validate '" TEST_SOURCE "/packaging/lumhost.desktop'");
}

TEST(Described, CompletionsOfferEveryOption) {
    for (const auto &[program, verbs] : kPrograms) {
        for (const std::string verb : verbs) {
            Words known = OptionsIn(Help(program, verb));
            known.insert("--help");
            known.erase("--all"); // of "remove" only
            const std::string line = std::string(program) + (verb.empty() ? "" : " " + verb) + " --";
            EXPECT_EQ(OptionsIn(Completions(program, line)), known) << line;
        }
    }
}

TEST(Described, CompletionsFitThePlace) {
    OutputOf("'" TEST_BUILD "/host/lumhost' allow http://site.example");
    const struct {
        const char *program;
        const char *line;
        const char *offered;
    } cases[] = {
        {"lumhost", "lumhost al", "[allow][allowed]"},
        {"lumhost", "lumhost a.", "[a.html]"},
        {"lumhost", "lumhost b.", "[]"}, // no page
        {"lumhost", "lumhost browser i", "[install]"},
        {"lumhost", "lumhost browser install ", "[--user][--system]"},
        {"lumhost", "lumhost forbid h", "[http://site.example]"},
        {"lumhost", "lumhost remove -", "[--all]"},
        {"lumhost", "lumhost --log b", "[b.txt]"},
        {"lumhost", "lumhost --timeout ", "[]"},
        {"lumhost", "lumhost doctor ", "[]"},
        {"lumhost", "lumhost a.html al", "[]"}, // a verb comes first
        {"lumsite", "lumsite p", "[pack][publish]"},
        {"lumsite", "lumsite pack --format tar.", "[tar.gz][tar.zst][tar.xz]"},
        {"lumsite", "lumsite serve --port ", "[]"},
        {"lumsite", "lumsite publish b", "[b.txt]"},
    };
    for (const auto &test : cases) {
        EXPECT_EQ(Completions(test.program, test.line), test.offered) << test.line;
    }
}
