// What is said of the programs: their manual pages and completions, as they are installed.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/ChildProcess.h"

namespace {

// What bash offers when the command line is `line` and the cursor at its end.
std::string Completions(const std::string &program, const std::string &line) {
    return OutputOf("cd \"$(mktemp -d)\" && touch a.html b.txt && PATH='" TEST_BUILD "/host:'$PATH bash --norc -c '"
                    ". " TEST_BUILD "/packaging/completions/" +
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

} // namespace

TEST(Described, ManualsAreWellFormed) {
    for (const char *page : {TEST_BUILD "/packaging/lumhost.1", TEST_BUILD "/packaging/lumsite.1"}) {
        OutputOf("mandoc -T lint -W warning '" + std::string(page) + "'");
    }
    OutputOf("desktop-file-validate '" TEST_SOURCE "/packaging/lumhost.desktop'");
}

TEST(Described, CompletionsFitThePlace) {
    OutputOf("'" TEST_BUILD "/host/lumhost' allow http://site.example");
    const struct {
        const char *program;
        const char *line;
        const char *offered;
    } cases[] = {
        {"lumhost", "lumhost a", "[a.html][allow][allowed]"},
        {"lumhost", "lumhost a.html al", "[]"}, // a verb comes first
        {"lumhost", "lumhost --log b", "[b.txt]"},
        {"lumhost", "lumhost browser i", "[install]"},
        {"lumhost", "lumhost browser install ", "[--user][--system]"},
        {"lumhost", "lumhost forbid h", "[http://site.example]"},
        {"lumhost", "lumhost doctor -", "[--help][-h]"},
        {"lumsite", "lumsite pack --format tar.", "[tar.gz][tar.zst][tar.xz]"},
    };
    for (const auto &test : cases) {
        EXPECT_EQ(Completions(test.program, test.line), test.offered) << test.line;
    }
}
