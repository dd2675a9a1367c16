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
    // The word that comes first, or Start when that is a page (a file named like a verb is written "./status"), or
    // Report when there is nothing but --report.
    enum class Verb { Start, Allow, Allowed, Forbid, Doctor, Status, Remove, Report, Help, Version };

    Verb verb = Verb::Start;
    std::vector<std::string> operands; // the page, or what follows the verb
    std::vector<std::pair<std::string, std::string>> parameters; // --param, in the order given
    std::filesystem::path log;
    std::filesystem::path report;
    std::filesystem::path extension;
    std::optional<std::chrono::milliseconds> timeout;
    bool json = false;
    bool open = false;
    bool all = false;
};

// The command line, or one sentence that says what is wrong with it.
std::variant<CommandLine, std::string> ReadCommandLine(const std::vector<std::string> &arguments);

extern const char *const kUsage;

} // namespace lumhost
