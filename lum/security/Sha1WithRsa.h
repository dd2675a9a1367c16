// RSA signatures of digest type 115 (sha1WithRSA) by a library's raw RSA operation, for libraries whose RSA_sign and
// RSA_verify no longer know the type. The bytes are those that the libraries which know it make and take: a PKCS#1 v1.5
// type 1 block over DigestInfo { { 1.3.14.3.2.29, NULL }, OCTET STRING text }. Sites sign that way.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

struct rsa_st;

constexpr int kSha1WithRsa = 115;

using ByteSpan = std::span<const unsigned char>;

// The library's RSA_size, RSA_public_decrypt and RSA_private_encrypt; null for one that it has not.
struct RawRsa {
    int (*size)(const rsa_st *);
    int (*publicDecrypt)(int, const unsigned char *, unsigned char *, rsa_st *, int);
    int (*privateEncrypt)(int, const unsigned char *, unsigned char *, rsa_st *, int);

    bool IsWhole() const {
        return size && publicDecrypt && privateEncrypt;
    }
};

// The block of `blockSize` bytes that a signature over `text` holds; empty when it does not fit.
std::vector<unsigned char> Sha1WithRsaBlock(ByteSpan text, std::size_t blockSize);

// Writes a signature as long as the key's modulus and returns true; otherwise nothing is written.
bool SignSha1WithRsa(const RawRsa &library, ByteSpan text, unsigned char *signature, unsigned int *length, rsa_st *key);
bool VerifySha1WithRsa(const RawRsa &library, ByteSpan text, ByteSpan signature, rsa_st *key);

// A check whether a library's RSA_verify knows the type: the signature of a text, valid for a key (the DER of an
// RSAPublicKey). The private half of the key was thrown away.
extern const ByteSpan kProbeKey;
extern const ByteSpan kProbeText;
extern const ByteSpan kProbeSignature;
