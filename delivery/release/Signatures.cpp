#include "delivery/release/Signatures.h"

#include <algorithm>
#include <set>

#include "base/Text.h"
#include "delivery/release/ReleaseFault.h"

namespace delivery {

namespace {

using Fingerprints = std::set<std::string>;

Fingerprints KeysOf(const KeyList &keys, const RoleKeys &role) {
    Fingerprints all;
    for (const std::string &id : role.keyIds) {
        if (const auto key = keys.find(id); key != keys.end() && !key->second.fingerprint().empty()) {
            all.insert(key->second.fingerprint());
        }
    }
    return all;
}

Fingerprints SignersOf(const SignedFile &file, const KeyList &keys, const RoleKeys &role) {
    Fingerprints signers;
    for (const Signature &signature : file.signatures) {
        const auto key = keys.find(signature.keyId);
        const bool isOfRole = std::count(role.keyIds.begin(), role.keyIds.end(), signature.keyId) > 0;
        if (isOfRole && key != keys.end() && key->second.Verify(file.canonical, signature.bytes)) {
            signers.insert(key->second.fingerprint());
        }
    }
    return signers;
}

std::string Signatures(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " signature is valid" : " signatures are valid");
}

} // namespace

base::Result<void> CheckSignatures(const SignedFile &file, const KeyList &keys, const RoleKeys &role,
                                   const std::string &roleName) {
    const std::size_t signers = SignersOf(file, keys, role).size();
    if (signers >= role.threshold) {
        return {};
    }
    const std::size_t known = KeysOf(keys, role).size();
    const std::string needed = std::to_string(role.threshold);
    if (known < role.threshold) {
        return Refuse(ReleaseFault::NotSigned, file.name + " needs the signatures of " + needed +
                                                   " keys, but the role " + base::Quoted(roleName) + " has only " +
                                                   std::to_string(known) +
                                                   " usable; the site has to list more keys or ask for fewer");
    }
    return Refuse(ReleaseFault::NotSigned, file.name + " is not signed by " + needed + " of the " +
                                               std::to_string(known) + " keys of the role " + base::Quoted(roleName) +
                                               " (" + Signatures(signers) + "); the site has to sign it again");
}

} // namespace delivery
