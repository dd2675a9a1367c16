// What the extension's traces say about its progress. Of its traces only those that TraceLines.h names are promised;
// any other says nothing here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumhost {

struct TraceNews {
    enum class Kind {
        PackageAsked,  // text: the address that is asked for next; number: announced bytes of all packages so far
        ShowsMessage,  // number: of the message that is shown next
        SecondMeeting, // a meeting runs already, so this start is refused
        MainReady,     // from now on a package that fails does not stop the rest
        AllInstalled,  // every package is dealt with
        Starts,        // the application is being started
        Process,       // number: its process id
        MeetingRuns,   // the start of a meeting has been tried, or one runs already
        MeetingSeen, // the extension has looked for the meeting for the last time; what follows in this call is the end
        PlayerRuns,  // likewise for the players, which it goes on looking for
        Joined,      // number: process id of the application that reported itself
    };
    Kind kind;
    std::uint32_t number = 0;
    std::string text;
};

std::optional<TraceNews> ReadTrace(std::string_view text);

} // namespace lumhost
