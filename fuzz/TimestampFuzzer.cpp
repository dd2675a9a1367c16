// New timestamps, well signed. Input: what the timestamp says.
#include "fuzz/ReleaseCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr auto kType = delivery::MetadataType::Timestamp;
    const std::string_view input = InputText(data, size);
    CheckRaw(kType, input);
    const std::optional<std::string> file = SignedInput(input, {3});
    delivery::TrustedRelease trusted = TrustedBefore<kType>();
    const base::Result<bool> taken = file ? trusted.TakeTimestamp(*file) : base::Result<bool>(false);
    const delivery::Timestamp &timestamp = *trusted.timestamp();
    if (taken && *taken) {
        Require(timestamp.head.version > 2, "a new timestamp is newer");
        Require(timestamp.head.expires > kReleaseNow, "and has not expired");
        Require(timestamp.snapshot.version >= 2, "and leads to no older snapshot");
    } else {
        Require(timestamp.head.version == 2, "any other changes nothing");
    }
    return 0;
}
