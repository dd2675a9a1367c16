// The key pairs of a signed release: made, described as metadata lists them, and used. Any thread.
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

#include "base/Result.h"
#include "site/keys/Certificates.h"

namespace lumsite {

// What a key can be: the names are those that the command line takes.
enum class SigningKeyType { Ed25519, Ecdsa, Rsa };

base::Result<ScopedKey> MakeSigningKey(SigningKeyType type);

// PEM (PKCS #8), without a pass phrase.
base::Result<std::string> SigningKeyToPem(EVP_PKEY *key);

// The public half in the form of TUF 1.0.34, 4.2. Fails for a key that clients could not use: known are ed25519, ECDSA
// over P-256 and P-384, and RSA of 2048 to 4096 bits.
base::Result<Json::Value> DescribeKey(EVP_PKEY *key);
// The same of a PEM file that holds a public key ("-----BEGIN PUBLIC KEY-----").
base::Result<Json::Value> DescribePublicKeyFile(const std::filesystem::path &file);

// The signature, binary, by the scheme that DescribeKey names: RSA is PSS with SHA-256.
base::Result<std::string> SignWithKey(EVP_PKEY *key, std::string_view bytes);

} // namespace lumsite
