// What the user typed.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace lumhost {

struct CommandLine {
    // What "browser" is to do, and for whom; without a choice, for the user, or for a look, both.
    enum class Scope { Unsaid, User, System };

    // The word that comes first, or Start when that is a page (a file named like a verb is written "./status"), or
    // Report when there is nothing but --report, or Native when a browser calls.
    enum class Verb { Start, Allow, Allowed, Forbid, Doctor, Status, Remove, Report, Browser, Native, Help, Version };

    Verb verb = Verb::Start;
    std::vector<std::string> operands; // the page, or what follows the verb, or the extension that calls
    std::vector<std::pair<std::string, std::string>> parameters; // --param, in the order given
    std::filesystem::path log;
    std::filesystem::path report;
    std::filesystem::path extension;
    std::optional<std::chrono::milliseconds> timeout;
    bool json = false;
    bool open = false;
    bool all = false;
    bool native = false;
    Scope scope = Scope::Unsaid;
};

// The command line, or one sentence that says what is wrong with it.
std::variant<CommandLine, std::string> ReadCommandLine(const std::vector<std::string> &arguments);

extern const char *const kUsage;

} // namespace lumhost
