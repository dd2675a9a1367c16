// What can be typed.
#include "host/verbs/CommandLine.h"

#include <gmock/gmock.h>

using lumhost::CommandLine;
using lumhost::ReadCommandLine;
using Verb = CommandLine::Verb;
using testing::ElementsAre;

namespace {

TEST(LumhostCommandLine, VerbsAndTheirWords) {
    struct Case {
        std::vector<std::string> arguments;
        std::optional<Verb> verb; // nothing: refused
    };
    const Case cases[] = {
        {{"page.html"}, Verb::Start},
        {{"./status"}, Verb::Start},
        {{"page.html", "--report", "r.tgz"}, Verb::Start},
        {{"--report", "r.tgz"}, Verb::Report},
        {{"allow", "https://a"}, Verb::Allow},
        {{"forbid", "https://a"}, Verb::Forbid},
        {{"allowed"}, Verb::Allowed},
        {{"doctor"}, Verb::Doctor},
        {{"status"}, Verb::Status},
        {{"remove", "a", "b"}, Verb::Remove},
        {{"remove", "--all"}, Verb::Remove},
        {{"browser", "install"}, Verb::BrowserInstall},
        {{"browser", "status", "--system"}, Verb::BrowserStatus},
        {{"status", "--json"}, Verb::Status},
        {{"repair"}, Verb::Repair},
        {{"forbid", "https://a.example", "--remove"}, Verb::Forbid},
        {{"forbid", "https://a.example", "--anywhere"}, std::nullopt},
        {{"allowed", "--json"}, std::nullopt}, // of a start and of the status only
        {{"--native"}, Verb::Native},
        {{"chrome-extension://abc/"}, Verb::Native},
        {{"/etc/lum.json", "lum@kelvo.example"}, Verb::Native},
        {{"/etc/lum.json", "other@kelvo.example"}, std::nullopt},
        {{"page.html", "--help"}, Verb::Help},
        {{"--version"}, Verb::Version},
        {{}, std::nullopt},
        {{"--json"}, std::nullopt},
        {{"a.html", "b.html"}, std::nullopt},
        {{"allow", "a", "b"}, std::nullopt},
        {{"remove"}, std::nullopt},
        {{"remove", "a", "--all"}, std::nullopt},
        {{"page.html", "--param", "=x"}, std::nullopt},
        {{"page.html", "--param", "x"}, std::nullopt},
        {{"page.html", "--timeout", "0"}, std::nullopt},
        {{"page.html", "--timeout", "-1"}, std::nullopt},
        {{"page.html", "--timeout", "nan"}, std::nullopt},
        {{"page.html", "--timeout", "5s"}, std::nullopt},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.arguments));
        const auto line = ReadCommandLine(test.arguments);
        EXPECT_EQ(test.verb, line ? std::optional(line->verb) : std::nullopt) << (line ? "" : line.error().text);
    }
}

TEST(LumhostCommandLine, WrongValuesAreNamed) {
    EXPECT_EQ(ReadCommandLine({"page.html", "--timeout", "abc"}).error().text,
              "--timeout: \"abc\" is not a number of seconds, for example 30; see \"lumhost --help\"");
    EXPECT_EQ(ReadCommandLine({"allow"}).error().text, "allow: it needs SITE; see \"lumhost allow --help\"");
}

TEST(LumhostCommandLine, OptionsStandAnywhere) {
    const auto line = ReadCommandLine({"--param", "A=1=2", "--timeout=0.5", "page.html", "--json", "--open",
                                       "--param=B=", "--log", "l", "--report=r", "--extension", "x.bundle"});
    ASSERT_TRUE(line) << line.error().text;
    EXPECT_THAT(line->operands, ElementsAre("page.html"));
    EXPECT_THAT(line->parameters, ElementsAre(testing::Pair("A", "1=2"), testing::Pair("B", "")));
    EXPECT_EQ(std::chrono::milliseconds(500), line->timeout);
    EXPECT_TRUE(line->json && line->open);
    EXPECT_EQ("l", line->log);
    EXPECT_EQ("r", line->report);
    EXPECT_EQ("x.bundle", line->extension);
}

} // namespace
