#include "lum/common/ProductTable.h"

#include <algorithm>
#include <cstdlib>

namespace {

// Of the site configuration: meetings are joined with the join application.
constexpr long kJoinApplicationBit = 0x4000;

constexpr MainApplication kMeetingHall = {"confshell.bundle", "Meeting Hall.app/Contents/MacOS/Meeting Hall",
                                          "Meeting Hall"};
constexpr MainApplication kJoin = {"confshell.bundle", "Kelvo Join.app/Contents/MacOS/Kelvo Join", "Kelvo Join"};

// In the order in which they are tried.
constexpr MainApplication kApplications[] = {
    kMeetingHall,
    // The colon is deliberate: sites rely on this exact path.
    {"klvmgrmh.bundle", "Meeting Hall.app/Contents:MacOS/Meeting Hall", "Meeting Hall"},
    {"klvmgrch.bundle", "Class Hall.app/Contents/MacOS/Class Hall", "Class Hall"},
    {"klvmgrfh.bundle", "Forum Hall.app/Contents/MacOS/Forum Hall", "Forum Hall"},
    {"klvmgrdh.bundle", "Deal Hall.app/Contents/MacOS/Deal Hall", "Deal Hall"},
    {"chplmgr.bundle", "Practice Lab.app/Contents/MacOS/Practice Lab", "Practice Lab"},
    {"replayview.bundle", "Kelvo Player.app/Contents/MacOS/Kelvo Player", "Kelvo Player"},
    {"orbpfw.bundle", "Orb Recording Player.app/Contents/MacOS/Orb Recording Player", "Orb Recording Player"},
    {"rmtshell.bundle", "rmtagent.app/Contents/MacOS/rmtagent", "rmtagent"},
    {"Remly Client.app", "Remly Client.app/Contents/MacOS/Remly Client", "Remly Client"},
    {"Remly Process Manager.app", "Remly Process Manager.app/Contents/MacOS/Remly Process Manager",
     "Remly Process Manager"},
};

} // namespace

std::span<const MainApplication> MainApplications() {
    return kApplications;
}

const MainApplication &MeetingApplication(const std::string &siteConfiguration) {
    const bool join = (std::strtol(siteConfiguration.c_str(), nullptr, 10) & kJoinApplicationBit) != 0;
    return join ? kJoin : kMeetingHall;
}

std::optional<MainApplication> FindMainApplication(std::string_view componentPath,
                                                   const std::function<std::string()> &siteConfiguration) {
    const auto *const found = std::ranges::find_if(kApplications, [&](const MainApplication &application) {
        return componentPath.find(application.componentKey) != std::string_view::npos;
    });
    if (found == std::end(kApplications)) {
        return std::nullopt;
    }
    const bool isMeeting = found->componentKey == kMeetingHall.componentKey;
    return isMeeting ? MeetingApplication(siteConfiguration()) : *found;
}
