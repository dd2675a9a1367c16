#include "host/trace/TraceNews.h"

#include <charconv>

#include "lum/lumext/TraceLines.h"

namespace lumhost {

namespace {

using Kind = TraceNews::Kind;

struct Known {
    std::string_view line; // as TraceLines.h has it
    Kind kind;
    std::optional<std::uint32_t> only; // the one number that says this
};

constexpr Known kKnown[] = {
    {LUM_TRACE_SHOWS_MESSAGE, Kind::ShowsMessage, std::nullopt},
    {LUM_TRACE_REPORTS, Kind::SecondMeeting, 24},
    {LUM_TRACE_MAIN_READY, Kind::MainReady, std::nullopt},
    {LUM_TRACE_ALL_INSTALLED, Kind::AllInstalled, std::nullopt},
    {LUM_TRACE_STARTS, Kind::Starts, std::nullopt},
    {LUM_TRACE_PROCESS, Kind::Process, std::nullopt},
    {LUM_TRACE_APPLICATION_LAUNCHED, Kind::MeetingRuns, 1},
    {LUM_TRACE_APPLICATION_LAUNCHED, Kind::MeetingSeen, 0},
    {LUM_TRACE_PLAYER_LAUNCHED, Kind::PlayerRuns, 1},
    {LUM_TRACE_ORB_PLAYER_LAUNCHED, Kind::PlayerRuns, 1},
    {LUM_TRACE_JOINED, Kind::Joined, std::nullopt},
};

constexpr std::string_view kNumber = "%d";
constexpr std::string_view kText = "%s";

std::optional<std::uint32_t> Number(std::string_view text) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(number); // a size of more than 2 GiB is traced as a negative number
}

// The number in a trace that was made of `line`: 0 when the line has none, nothing when the trace is another.
std::optional<std::uint32_t> NumberIn(std::string_view text, std::string_view line) {
    if (!line.ends_with(kNumber)) {
        return text == line ? std::optional(0U) : std::nullopt;
    }
    line.remove_suffix(kNumber.size());
    return text.starts_with(line) ? Number(text.substr(line.size())) : std::nullopt;
}

std::optional<TraceNews> ReadPackageAsked(std::string_view text) {
    constexpr std::string_view kLine = LUM_TRACE_PACKAGE_ASKED;
    constexpr std::string_view kStart = kLine.substr(0, kLine.find(kText));
    constexpr std::string_view kSize = kLine.substr(kStart.size() + kText.size());
    // The address may hold whatever the page's URL root holds: what comes last is the size.
    const std::size_t size = text.rfind(kSize.substr(0, kSize.size() - kNumber.size()));
    if (!text.starts_with(kStart) || size == std::string_view::npos || size < kStart.size()) {
        return std::nullopt;
    }
    const auto number = NumberIn(text.substr(size), kSize);
    if (!number) {
        return std::nullopt;
    }
    return TraceNews{Kind::PackageAsked, *number, std::string(text.substr(kStart.size(), size - kStart.size()))};
}

} // namespace

std::optional<TraceNews> ReadTrace(std::string_view text) {
    for (const Known &known : kKnown) {
        const auto number = NumberIn(text, known.line);
        if (number && known.only.value_or(*number) == *number) {
            return TraceNews{known.kind, known.only ? 0 : *number, {}};
        }
    }
    return ReadPackageAsked(text);
}

} // namespace lumhost
