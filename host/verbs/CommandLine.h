// What the user typed.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/Result.h"

namespace lumhost {

struct CommandLine {
    // Start is what a page as the first word means (a file named like a verb is written "./status"), Report when there
    // is nothing but --report, Native when a browser calls.
    enum class Verb {
        Start,
        Allow,
        Allowed,
        Forbid,
        Doctor,
        Status,
        Remove,
        Repair,
        Report,
        BrowserInstall,
        BrowserUninstall,
        BrowserStatus,
        Native,
        Help, // the only operand is the name of the verb that is asked about, or empty
        Version,
    };

    Verb verb = Verb::Start;
    std::vector<std::string> operands; // the page, or what follows the verb, or the extension that calls
    std::vector<std::pair<std::string, std::string>> parameters; // --param, in the order given
    std::filesystem::path log;
    std::filesystem::path report;
    std::filesystem::path extension;
    std::filesystem::path root;    // "allow"
    std::filesystem::path newRoot; // "allow"
    std::optional<std::chrono::milliseconds> timeout;
    bool json = false;
    bool open = false;
    bool all = false;
    bool anywhere = false;  // "allow"
    bool removeToo = false; // "forbid"
    bool forUser = false;   // "browser": only for the user
    bool forSystem = false; // only for the machine
};

// The Error's text says what is wrong and where to look, to be printed after the program's name and a colon.
base::Result<CommandLine> ReadCommandLine(const std::vector<std::string> &arguments);

} // namespace lumhost
