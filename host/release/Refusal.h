// What the user is told when a release is refused: why, and who has to do what.
#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "base/Result.h"
#include "delivery/release/Metadata.h"

namespace lumhost {

// What tells whether this computer's clock is right.
struct ClockSigns {
    delivery::ReleaseTime now;
    std::optional<std::time_t> serverTime;    // what the site's server says
    bool isSetByNetwork = true;               // whether the system sets the clock by a time server
    std::optional<std::time_t> accepted = {}; // by this clock: when a file of the release was last accepted as fresh
};
ClockSigns LookAtClock(delivery::ReleaseTime now, std::optional<std::time_t> serverTime);

// Sentences about the release of `site`. The code of `error` is a delivery::ReleaseFault. That the clock is wrong is
// only said when several signs agree: a server that replays an old release can also tell a wrong time.
// An administrator's root can be replaced by the administrator only.
std::string RefusalText(const std::string &site, const base::Error &error, const ClockSigns &clock,
                        bool isAdministrators = false);

} // namespace lumhost
