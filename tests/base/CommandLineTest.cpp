// One table for what is typed, the help, the completion and the manual page.
#include "base/CommandLine.h"

#include <gmock/gmock.h>

using base::CommandLine;
using base::Offer;
using base::Program;

namespace {

// A program that does one thing without a verb.
Program Player() {
    return {.name = "player",
            .summary = "Plays.",
            .verbs = {{.name = "",
                       .operands = "FILE",
                       .fewest = 1,
                       .most = 1,
                       .summary = "play FILE",
                       .options = {{.name = "--loud", .help = "louder"},
                                   {.name = "--log", .value = "FILE", .help = "a log", .offer = {Offer::Kind::Files}},
                                   base::WholeNumberOption("--speed", "N", "speed (1)", 1, 9)},
                       .offer = {Offer::Kind::Files, "*.ogg"}},
                      {.name = "list", .summary = "list the files"},
                      {.name = "device add", .operands = "NAME", .fewest = 1, .most = 2, .summary = "add a device"},
                      {.name = "device remove",
                       .operands = "NAME",
                       .fewest = 1,
                       .most = 1,
                       .summary = "remove a device",
                       .options = {{.name = "--as",
                                    .value = "KIND",
                                    .help = "what kind",
                                    .offer = {Offer::Kind::Words, "left right middle"}}},
                       .offer = {Offer::Kind::Command, "player list"}}},
            .options = {{.name = "--version", .help = "print the version"}}};
}

// As it was understood; what is wrong with it behind "! ".
std::string Read(const std::vector<std::string> &arguments) {
    const base::Result<CommandLine> line = ReadCommandLine(Player(), arguments);
    if (!line) {
        return "! " + line.error().text;
    }
    std::string text = line->HelpWanted() ? "help " : "";
    text += line->verb() + ":";
    for (const std::string &operand : line->operands()) {
        text += " " + operand;
    }
    for (const char *option : {"--loud", "--version"}) {
        text += line->Has(option) ? std::string(" ") + option : "";
    }
    for (const char *option : {"--log", "--speed", "--as"}) {
        for (const std::string &value : line->Values(option)) {
            text += std::string(" ") + option + "=" + value;
        }
    }
    return text;
}

} // namespace

TEST(CommandLine, WhatIsUnderstood) {
    const std::pair<std::vector<std::string>, const char *> cases[] = {
        {{"a.ogg"}, ": a.ogg"},
        {{"--loud", "a.ogg", "--log", "l", "--speed=3"}, ": a.ogg --loud --log=l --speed=3"},
        {{"a.ogg", "--log=x=y", "--log", "--loud"}, ": a.ogg --log=x=y --log=--loud"},
        {{"--loud", "--", "--log"}, ": --log --loud"},
        {{"--", "-"}, ": -"},
        {{"[a.ogg]"}, ": [a.ogg]"},
        {{"list"}, "list:"},
        {{"./list"}, ": ./list"},
        {{"device", "add", "a", "list"}, "device add: a list"},
        {{"device", "remove", "--as", "left", "a"}, "device remove: a --as=left"},
        {{"--version"}, ": --version"},
        {{"-h"}, "help :"},
        {{"list", "--help"}, "help list:"},
        {{"list", "surplus", "--nope", "-h"}, "help list: surplus"},
    };
    for (const auto &[arguments, understood] : cases) {
        EXPECT_EQ(Read(arguments), understood);
    }
}

TEST(CommandLine, WhatIsWrong) {
    const std::string help = "; see \"player --help\"";
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, "! FILE is missing" + help},
        {{"--loud"}, "! FILE is missing" + help},
        {{"a", "b"}, "! \"b\" is one word too many" + help},
        {{"a", "--nope=3"}, "! there is no option --nope" + help},
        {{"a", "--loud=3"}, "! --loud takes no value" + help},
        {{"a", "--log"}, "! --log needs a file name" + help},
        {{"--log=", "a"}, "! --log: \"\" is not a file name" + help},
        {{"a", "--speed", "10"}, "! --speed: \"10\" is not a whole number from 1 to 9" + help},
        {{"a", "--speed=3", "--speed=3x"}, "! --speed: \"3x\" is not a whole number from 1 to 9" + help},
        {{"a", "list"}, "! the command list must come first (a file of that name is written ./list)" + help},
        {{"device"}, "! device needs add or remove behind it" + help},
        {{"device", "mend"}, "! device needs add or remove behind it" + help},
        {{"device", "add"}, "! device add: it needs NAME; see \"player device add --help\""},
        {{"device", "remove", "a", "--as", "up"},
         "! device remove: --as: \"up\" is not left, right or middle; see \"player device remove --help\""},
    };
    for (const auto &[arguments, wrong] : cases) {
        EXPECT_EQ(Read(arguments), wrong);
    }
}

TEST(CommandLine, ProgramWithVerbsOnly) {
    const Program program = {.name = "tool", .verbs = {{.name = "make", .summary = "make it"}}};
    EXPECT_EQ(ReadCommandLine(program, {}).error().text, "a command is missing; see \"tool --help\"");
    EXPECT_EQ(ReadCommandLine(program, {"mkae"}).error().text, "there is no command \"mkae\"; see \"tool --help\"");
    EXPECT_EQ(ReadCommandLine(program, {"--nope"}).error().text, "there is no option --nope; see \"tool --help\"");
    EXPECT_TRUE(ReadCommandLine(program, {"--help"})->HelpWanted());
}

TEST(CommandLine, ManualPageIsFilledIn) {
    EXPECT_EQ(base::ManualPage({.name = "tool",
                                .verbs = {{.name = "make",
                                           .operands = "FILE",
                                           .summary = "make \\it",
                                           .text = ".hidden files too.",
                                           .options = {{.name = "-o", .value = "FILE", .help = "the result"}}}}},
                               ".Sh COMMANDS\n@VERBS@\nrest"),
              ".Sh COMMANDS\n.Bl -tag -width Ds\n.It Cm make Ar FILE\nMake \\eit.\n\\&.hidden files too.\n"
              ".Bl -tag -width Ds\n.It Fl o Ar FILE\nThe result.\n.El\n.El\nrest\n");
}
