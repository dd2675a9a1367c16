// A public key of a release: what it is called, and what it has signed. Any thread.
#pragma once

#include <json/value.h>

#include <memory>
#include <string>
#include <string_view>

typedef struct evp_pkey_st EVP_PKEY;

namespace delivery {

class ReleaseKey {
public:
    // Takes any JSON value. Known are the kinds of key (TUF 1.0.34, 4.2) ed25519, ECDSA over P-256 and P-384 with the
    // digest of that length, and RSA-PSS with SHA-256 of 2048 to 4096 bits. A key of another kind, or a malformed one,
    // has an id and verifies nothing.
    static ReleaseKey Read(const Json::Value &key);

    // Lower-case hexadecimal SHA-256 of the key's canonical JSON.
    const std::string &id() const {
        return m_id;
    }
    // Equal for two keys exactly when they verify the same signatures, whatever their ids. Empty when it verifies
    // nothing.
    const std::string &fingerprint() const {
        return m_fingerprint;
    }
    // `signature` in its binary form.
    bool Verify(std::string_view message, std::string_view signature) const;

private:
    enum class Scheme { None, Ed25519, EcdsaSha256, EcdsaSha384, RsaPssSha256 };

    ReleaseKey() = default;
    static Scheme SchemeOf(const Json::Value &key);

    std::string m_id;
    std::string m_fingerprint;
    Scheme m_scheme = Scheme::None;
    std::shared_ptr<EVP_PKEY> m_key;
};

} // namespace delivery
