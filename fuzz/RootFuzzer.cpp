// New roots, signed by the keys that a new root needs. Input: what the root says.
#include "fuzz/ReleaseCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr auto kType = delivery::MetadataType::Root;
    const std::string_view input = InputText(data, size);
    CheckRaw(kType, input);
    const std::optional<std::string> file = SignedInput(input, {0, 1, 7});
    delivery::TrustedRelease trusted = TrustedBefore<kType>();
    if (!file || !trusted.TakeNextRoot(*file)) {
        Require(trusted.root()->head.version == 1, "a root that is refused changes nothing");
        return 0;
    }
    const delivery::Root &root = *trusted.root();
    const delivery::RoleKeys &role = root.roles.at("root");
    std::size_t own = 0;
    for (const unsigned key : {0U, 1U, 7U}) {
        const std::string id = TestKey(key).Id();
        own += root.keys.count(id) && std::count(role.keyIds.begin(), role.keyIds.end(), id) ? 1 : 0;
    }
    Require(root.head.version == 2, "a new root has the next version");
    Require(own >= role.threshold && role.threshold >= 1, "its own keys agree");
    for (const auto &[id, key] : root.keys) {
        Require(id == key.id(), "a key has its own id");
    }
    return 0;
}
