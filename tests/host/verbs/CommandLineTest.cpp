// What can be typed.
#include "host/verbs/CommandLine.h"

#include <gmock/gmock.h>

using lumhost::CommandLine;
using lumhost::ReadCommandLine;
using Verb = CommandLine::Verb;
using testing::ElementsAre;

namespace {

TEST(CommandLine, VerbsAndTheirWords) {
    struct Case {
        std::vector<std::string> arguments;
        std::optional<Verb> verb; // nothing: refused
    };
    const Case cases[] = {
        {{"page.html"}, Verb::Start},
        {{"./status"}, Verb::Start},
        {{"--", "--json"}, Verb::Start},
        {{"page.html", "--report", "r.tgz"}, Verb::Start},
        {{"--report", "r.tgz"}, Verb::Report},
        {{"allow", "https://a"}, Verb::Allow},
        {{"forbid", "https://a"}, Verb::Forbid},
        {{"allowed"}, Verb::Allowed},
        {{"doctor"}, Verb::Doctor},
        {{"status"}, Verb::Status},
        {{"remove", "a", "b"}, Verb::Remove},
        {{"remove", "--all"}, Verb::Remove},
        {{"browser", "install"}, Verb::Browser},
        {{"browser", "status", "--system"}, Verb::Browser},
        {{"--native"}, Verb::Native},
        {{"chrome-extension://abc/"}, Verb::Native},
        {{"/etc/lum.json", "lum@kelvo.example"}, Verb::Native},
        {{"/etc/lum.json", "other@kelvo.example"}, std::nullopt},
        {{"browser"}, std::nullopt},
        {{"browser", "mend"}, std::nullopt},
        {{"page.html", "--help"}, Verb::Help},
        {{"--version"}, Verb::Version},
        {{}, std::nullopt},
        {{"--json"}, std::nullopt},
        {{"a.html", "b.html"}, std::nullopt},
        {{"allow"}, std::nullopt},
        {{"allow", "a", "b"}, std::nullopt},
        {{"remove"}, std::nullopt},
        {{"remove", "a", "--all"}, std::nullopt},
        {{"page.html", "--nope"}, std::nullopt},
        {{"page.html", "--json=1"}, std::nullopt},
        {{"page.html", "--param"}, std::nullopt},
        {{"page.html", "--param", "=x"}, std::nullopt},
        {{"page.html", "--param", "x"}, std::nullopt},
        {{"page.html", "--timeout", "0"}, std::nullopt},
        {{"page.html", "--timeout", "-1"}, std::nullopt},
        {{"page.html", "--timeout", "nan"}, std::nullopt},
        {{"page.html", "--timeout", "5s"}, std::nullopt},
        {{"page.html", "--log="}, std::nullopt},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.arguments));
        const auto line = ReadCommandLine(test.arguments);
        const auto *read = std::get_if<CommandLine>(&line);
        EXPECT_EQ(test.verb, read ? std::optional(read->verb) : std::nullopt);
        EXPECT_FALSE(!read && std::get<std::string>(line).empty()) << "says what is wrong";
    }
}

TEST(CommandLine, OptionsStandAnywhere) {
    const auto line = ReadCommandLine({"--param", "A=1=2", "--timeout=0.5", "page.html", "--json", "--open",
                                       "--param=B=", "--log", "l", "--report=r", "--extension", "x.bundle"});
    const auto *read = std::get_if<CommandLine>(&line);
    ASSERT_TRUE(read);
    EXPECT_THAT(read->operands, ElementsAre("page.html"));
    EXPECT_THAT(read->parameters, ElementsAre(testing::Pair("A", "1=2"), testing::Pair("B", "")));
    EXPECT_EQ(std::chrono::milliseconds(500), read->timeout);
    EXPECT_TRUE(read->json && read->open);
    EXPECT_EQ("l", read->log);
    EXPECT_EQ("r", read->report);
    EXPECT_EQ("x.bundle", read->extension);
}

} // namespace
