// Apple events to the players: one direct parameter, a list of one item.
//
// Nothing is answered and failures are not told: a player that has ended, or does not listen, gets nothing.
#pragma once

#include <Carbon/Carbon.h>

#include <string_view>

struct AppleEventKind {
    AEEventClass eventClass;
    AEEventID eventID;
};

// To a player that runs: it is online again.
inline constexpr AppleEventKind kReOnlineEvent = {0x6B767674 /* 'kvvt' */, 0x72656F6C /* 'reol' */};
// To a player: open the recording at this address.
inline constexpr AppleEventKind kOpenUrlEvent = {0x6B767674 /* 'kvvt' */, 0x6B766F75 /* 'kvou' */};

void SendAppleEvent(const ProcessSerialNumber &target, AppleEventKind kind, bool value);
void SendAppleEvent(const ProcessSerialNumber &target, AppleEventKind kind, std::string_view text);
