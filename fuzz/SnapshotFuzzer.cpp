// New snapshots, well signed. Input: what the snapshot says.
#include "fuzz/ReleaseCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr auto kType = delivery::MetadataType::Snapshot;
    const std::string_view input = InputText(data, size);
    CheckRaw(kType, input);
    const std::optional<std::string> file = SignedInput(input, {4});
    delivery::TrustedRelease trusted = TrustedBefore<kType>();
    if (!file || !trusted.TakeSnapshot(*file)) {
        Require(trusted.snapshot() == nullptr, "a snapshot that is refused is not trusted");
        return 0;
    }
    const delivery::Snapshot &snapshot = *trusted.snapshot();
    Require(snapshot.head.version == 2, "it has the version that the timestamp lists");
    Require(snapshot.head.expires > kReleaseNow, "and has not expired");
    Require(snapshot.files.count("targets.json") == 1, "it still lists what was listed before");
    for (const auto &[name, listed] : snapshot.files) {
        Require(listed.version >= 1, "versions begin at 1");
    }
    return 0;
}
