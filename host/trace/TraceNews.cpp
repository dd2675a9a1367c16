#include "host/trace/TraceNews.h"

#include <array>
#include <charconv>

namespace lumhost {

namespace {

using Kind = TraceNews::Kind;

struct Known {
    std::string_view text;
    bool number; // follows the text
    Kind kind;
};

constexpr std::array<Known, 10> kKnown = {{
    {"CLumExtension::ShowMessage,nResourceId=", true, Kind::ShowsMessage},
    {"Main component is ready to be loaded", false, Kind::MainReady},
    {"Download is done", false, Kind::AllInstalled},
    {"Init the main component...", false, Kind::Starts},
    {"CPluginView::LoadMainComponant,Process launch successfully, process id = ", true, Kind::Process},
    {"CLumExtension::SetKelvoAppLaunched,bKelvoAppLaunched=1", false, Kind::MeetingRuns},
    {"CLumExtension::SetKelvoAppLaunched,bKelvoAppLaunched=0", false, Kind::MeetingSeen},
    {"CLumExtension::SetKelvoPlayerLaunched,bKelvoPlayerLaunched=1", false, Kind::PlayerRuns},
    {"CLumExtension::SetOrbPlayerLaunched,bOrbPlayerLaunched=1", false, Kind::PlayerRuns},
    {"Meeting launched notification received, pid = ", true, Kind::Joined},
}};

std::optional<std::uint32_t> Number(std::string_view text) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(number); // a size of more than 2 GiB is traced as a negative number
}

std::optional<TraceNews> ReadPackageAsked(std::string_view text) {
    constexpr std::string_view kStart = "LumInstallationMgr::PrepareDownload Down file=";
    constexpr std::string_view kSize = ", TotalSize=";
    const std::size_t size = text.rfind(kSize);
    if (!text.starts_with(kStart) || size == std::string_view::npos || size < kStart.size()) {
        return std::nullopt;
    }
    const auto number = Number(text.substr(size + kSize.size()));
    if (!number) {
        return std::nullopt;
    }
    return TraceNews{Kind::PackageAsked, *number, std::string(text.substr(kStart.size(), size - kStart.size()))};
}

} // namespace

std::optional<TraceNews> ReadTrace(std::string_view text) {
    for (const Known &known : kKnown) {
        if (!text.starts_with(known.text)) {
            continue;
        }
        if (!known.number) {
            return text == known.text ? std::optional(TraceNews{known.kind, 0, {}}) : std::nullopt;
        }
        const auto number = Number(text.substr(known.text.size()));
        return number ? std::optional(TraceNews{known.kind, *number, {}}) : std::nullopt;
    }
    return ReadPackageAsked(text);
}

} // namespace lumhost
