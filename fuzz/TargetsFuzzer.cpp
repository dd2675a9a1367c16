// New targets, well signed. Input: a path to look for, then what the targets say.
#include "fuzz/ReleaseCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr auto kType = delivery::MetadataType::Targets;
    std::string_view input = InputText(data, size);
    const std::string path = TakeLine(input);
    CheckRaw(kType, input);
    const std::optional<std::string> file = SignedInput(input, {5});
    delivery::TrustedRelease trusted = TrustedBefore<kType>();
    if (!file || !trusted.TakeTargets("targets", "root", *file)) {
        Require(trusted.targets("targets") == nullptr, "targets that are refused are not trusted");
        return 0;
    }
    const delivery::Targets &targets = *trusted.targets("targets");
    Require(targets.head.version == 2, "they have the version that the snapshot lists");
    Require(targets.head.expires > kReleaseNow, "and have not expired");
    for (const auto &[name, target] : targets.targets) {
        Require(target.facts.length && !target.facts.hashes.empty(), "a target has a length and hashes");
    }
    for (const delivery::Delegation &delegation : targets.delegations) {
        Require(!delegation.role.empty() && delegation.keys.threshold >= 1, "a role has a name and a threshold");
        Require(delegation.paths.empty() || delegation.hashPrefixes.empty(), "and one way to be given paths");
        Require(!delegation.Covers(path) || !delegation.paths.empty() || !delegation.hashPrefixes.empty(),
                "who is given nothing covers nothing");
    }
    return 0;
}
