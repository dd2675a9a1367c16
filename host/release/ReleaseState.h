// What is saved of a site's release, for people. No network.
#pragma once

#include <string>
#include <vector>

#include "base/Finding.h"
#include "delivery/release/TrustedRelease.h"
#include "host/release/Pins.h"

namespace lumhost {

// When the first of the four top-level files expires. All four must be there.
delivery::ReleaseTime EarliestExpiry(const delivery::TrustedRelease &release);
// "release 12 (root 3, snapshot 12, targets 7), good until 2026-11-21 10:00:00 UTC"; what is missing is left out.
std::string VersionsOf(const delivery::TrustedRelease &release);

// Two lines: "root 3, SHA-256 abc..., expires on ..., set by the user", and the release in use.
std::string PinText(const Pin &pin);
// All pinned sites with their releases in use; empty when there are none.
std::string ReleaseListing(const std::vector<Pin> &pins);
// One for each pin: good, soon to expire, expired, damaged.
base::Findings ExamineReleases(const std::vector<Pin> &pins);

} // namespace lumhost
