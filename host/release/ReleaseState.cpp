#include "host/release/ReleaseState.h"

#include <algorithm>

#include "base/Digest.h"
#include "base/Files.h"
#include "base/Text.h"
#include "delivery/release/ReleaseClient.h"
#include "delivery/release/ReleaseFault.h"

namespace lumhost {

namespace {

using delivery::ReleaseTime;
using delivery::TrustedRelease;

constexpr auto kSoon = std::chrono::days(1);

class NoNetwork final : public delivery::ReleaseFetcher {
public:
    base::Result<std::string> Fetch(const std::string &name, std::uint64_t, std::string_view) override {
        return delivery::Refuse(delivery::ReleaseFault::Unreachable, name + " is not saved");
    }
};

// What is saved, however old it is.
struct Saved {
    explicit Saved(const Pin &pin) : client(pin.folder, network), read(client.Recall(ReleaseTime{})) {}

    NoNetwork network;
    delivery::ReleaseClient client;
    base::Result<void> read;
};

std::vector<const delivery::MetadataHead *> Heads(const TrustedRelease &release) {
    std::vector<const delivery::MetadataHead *> heads;
    const auto add = [&](const auto *file) {
        if (file) {
            heads.push_back(&file->head);
        }
    };
    add(release.root());
    add(release.timestamp());
    add(release.snapshot());
    add(release.targets("targets"));
    return heads;
}

ReleaseTime Now() {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

std::string RootText(const Pin &pin, const TrustedRelease &release) {
    if (!release.root()) {
        return "the saved root is damaged";
    }
    const std::string file = base::ReadWhole(pin.folder / "root.json", delivery::ReleaseLimits().root).value_or("");
    return "root " + std::to_string(release.root()->head.version) + ", SHA-256 " + base::DigestOfText(file) +
           ", expires on " + delivery::ShowTime(release.root()->head.expires);
}

} // namespace

ReleaseTime EarliestExpiry(const TrustedRelease &release) {
    ReleaseTime earliest = ReleaseTime::max();
    for (const delivery::MetadataHead *head : Heads(release)) {
        earliest = std::min(earliest, head->expires);
    }
    return earliest;
}

std::string VersionsOf(const TrustedRelease &release) {
    if (!release.timestamp() || !release.snapshot() || !release.targets("targets")) {
        return "no release yet";
    }
    return "release " + std::to_string(release.timestamp()->head.version) + " (root " +
           std::to_string(release.root()->head.version) + ", snapshot " +
           std::to_string(release.snapshot()->head.version) + ", targets " +
           std::to_string(release.targets("targets")->head.version) + "), good until " +
           delivery::ShowTime(EarliestExpiry(release));
}

std::string PinText(const Pin &pin) {
    const Saved saved(pin);
    return "  signed releases, " + std::string(NameOf(pin.source)) + (pin.since.empty() ? "" : " (" + pin.since + ")") +
           "\n  " + RootText(pin, *saved.client.trusted()) + "\n  " + VersionsOf(*saved.client.trusted()) + "\n";
}

std::string ReleaseListing(const std::vector<Pin> &pins) {
    std::string text;
    for (const Pin &pin : pins) {
        text += pin.site + "\n  " + VersionsOf(*Saved(pin).client.trusted()) + "\n";
    }
    return text.empty() ? "" : "\nSigned releases in use\n" + text;
}

base::Findings ExamineReleases(const std::vector<Pin> &pins) {
    base::Findings findings;
    for (const Pin &pin : pins) {
        const Saved saved(pin);
        const TrustedRelease &release = *saved.client.trusted();
        const std::string where = "release of " + pin.site;
        if (!release.root()) {
            findings.push_back(
                {base::Severity::Error, where, "the saved root is damaged: " + saved.read.error().text,
                 "get the root from the operator and type: lumhost allow " + pin.site + " --new-root FILE"});
        } else if (!saved.read) {
            findings.push_back({base::Severity::Note, where, "none is saved yet", "start one of its pages"});
        } else if (EarliestExpiry(release) <= Now()) {
            findings.push_back({base::Severity::Note, where, "expired: " + VersionsOf(release),
                                "start one of its pages with the network; if that is refused, check the clock, "
                                "otherwise tell the operator of the site"});
        } else {
            const bool isSoon = EarliestExpiry(release) <= Now() + kSoon;
            findings.push_back({base::Severity::Good, where, VersionsOf(release) + (isSoon ? " (soon)" : ""), ""});
        }
    }
    return findings;
}

} // namespace lumhost
