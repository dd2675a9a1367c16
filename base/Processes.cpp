#include "base/Processes.h"

#include <algorithm>
#include <vector>

#include <fcntl.h>

#include "base/Files.h"
#include "base/Text.h"

namespace base {

namespace {

// Positions after the command in proc_pid_stat(5), which counts from 1 and has the state as its third field.
constexpr std::size_t kParent = 1;
constexpr std::size_t kStartTime = 19;

std::vector<std::string_view> Fields(std::string_view text) {
    std::vector<std::string_view> fields;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(" \n"), text.size());
        fields.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return fields;
}

} // namespace

// "pid (command) state ...": the command may hold blanks and parentheses, so the last parenthesis ends it.
std::optional<ProcessStatus> ParseProcessStatus(std::string_view text) {
    const auto open = text.find('(');
    const auto close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open || text.size() < close + 3) {
        return std::nullopt;
    }
    const std::vector<std::string_view> fields = Fields(text.substr(close + 2));
    if (fields.size() <= kStartTime || fields[0].size() != 1) {
        return std::nullopt;
    }
    const auto parent = ReadNumber<pid_t>(fields[kParent]);
    const auto startTime = ReadNumber<std::uint64_t>(fields[kStartTime]);
    if (!parent || !startTime) {
        return std::nullopt;
    }
    return ProcessStatus{std::string(text.substr(open + 1, close - open - 1)), fields[0].front(), *parent, *startTime};
}

std::optional<ProcessStatus> StatusOfProcess(pid_t process) {
    const ScopedDescriptor file(open(("/proc/" + std::to_string(process) + "/stat").c_str(), O_RDONLY | O_CLOEXEC));
    return file ? ParseProcessStatus(ReadStart(file.get(), 1024)) : std::nullopt;
}

std::filesystem::path OwnProgram() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

} // namespace base
