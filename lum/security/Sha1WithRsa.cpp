#include "lum/security/Sha1WithRsa.h"

#include <openssl/rsa.h>

#include <algorithm>

namespace {

using Bytes = std::vector<unsigned char>;

// SEQUENCE { OBJECT IDENTIFIER 1.3.14.3.2.29, NULL }
constexpr unsigned char kAlgorithm[] = {0x30, 0x09, 0x06, 0x05, 0x2B, 0x0E, 0x03, 0x02, 0x1D, 0x05, 0x00};

constexpr unsigned char kSequence = 0x30;
constexpr unsigned char kOctetString = 0x04;

// 00 01, at least eight times FF, 00
constexpr std::size_t kLeastPadding = 11;

void AppendHeader(Bytes &der, unsigned char tag, std::size_t length) {
    der.push_back(tag);
    if (length >= 0x100) {
        der.insert(der.end(), {0x82, static_cast<unsigned char>(length >> 8)});
    } else if (length >= 0x80) {
        der.push_back(0x81);
    }
    der.push_back(static_cast<unsigned char>(length));
}

Bytes DigestInfo(ByteSpan text) {
    Bytes octets;
    AppendHeader(octets, kOctetString, text.size());
    octets.insert(octets.end(), text.begin(), text.end());

    Bytes der;
    AppendHeader(der, kSequence, std::size(kAlgorithm) + octets.size());
    der.insert(der.end(), std::begin(kAlgorithm), std::end(kAlgorithm));
    der.insert(der.end(), octets.begin(), octets.end());
    return der;
}

std::size_t ModulusSize(const RawRsa &library, const rsa_st *key) {
    return static_cast<std::size_t>(std::max(library.size(key), 0));
}

// openssl genrsa -traditional -out key.pem 512; openssl rsa -in key.pem -RSAPublicKey_out -outform DER
constexpr unsigned char kProbeKeyBytes[] = {
    0x30, 0x48, 0x02, 0x41, 0x00, 0x9a, 0x9a, 0x11, 0xe1, 0x1a, 0x38, 0x66, 0x0d, 0xbb, 0x17, 0x70, 0xfa, 0x28, 0xc9,
    0xd6, 0x17, 0xc2, 0x71, 0xf8, 0x48, 0xbe, 0xfa, 0xbf, 0x9c, 0x27, 0xd1, 0xa5, 0x95, 0x62, 0xfd, 0x3b, 0x17, 0x4b,
    0xe5, 0x4c, 0x34, 0x57, 0xef, 0x12, 0x7b, 0xfd, 0x00, 0xf7, 0x25, 0x37, 0x18, 0x8a, 0x17, 0xa7, 0x5b, 0xf3, 0x46,
    0x7e, 0x40, 0x62, 0xc7, 0x88, 0xed, 0x32, 0xa8, 0x66, 0x82, 0x21, 0xed, 0x02, 0x03, 0x01, 0x00, 0x01};
constexpr unsigned char kProbeTextBytes[] = {'l', 'u', 'm'};
// openssl rsautl -sign -inkey key.pem, over the DigestInfo of the text
constexpr unsigned char kProbeSignatureBytes[] = {
    0x7c, 0x0d, 0xbc, 0x1b, 0xa6, 0x74, 0xa2, 0x08, 0x8c, 0x18, 0x76, 0xd9, 0xab, 0x0e, 0x5f, 0x76,
    0xd1, 0xcd, 0xd4, 0x84, 0x88, 0xcd, 0x76, 0xbc, 0x36, 0x8a, 0x28, 0x8e, 0xd7, 0xc3, 0xb4, 0x04,
    0x9f, 0xf0, 0x9a, 0xd1, 0xb2, 0xd0, 0x5e, 0xa8, 0x05, 0xda, 0xe8, 0xb4, 0x79, 0x0c, 0xc6, 0x72,
    0x8f, 0x09, 0x21, 0x53, 0x7e, 0x97, 0x89, 0x3d, 0xe3, 0x50, 0x26, 0x2b, 0x01, 0x3a, 0x35, 0xcd};

} // namespace

const ByteSpan kProbeKey = kProbeKeyBytes;
const ByteSpan kProbeText = kProbeTextBytes;
const ByteSpan kProbeSignature = kProbeSignatureBytes;

std::vector<unsigned char> Sha1WithRsaBlock(ByteSpan text, std::size_t blockSize) {
    if (blockSize < kLeastPadding || text.size() > blockSize - kLeastPadding) {
        return {}; // also keeps the lengths below within two bytes, whatever the caller hands in
    }
    const Bytes content = DigestInfo(text);
    if (content.size() > blockSize - kLeastPadding) {
        return {};
    }
    Bytes block(blockSize, 0xFF);
    const std::size_t start = blockSize - content.size();
    block[0] = 0x00;
    block[1] = 0x01;
    block[start - 1] = 0x00;
    std::copy(content.begin(), content.end(), block.begin() + static_cast<std::ptrdiff_t>(start));
    return block;
}

bool SignSha1WithRsa(const RawRsa &library, ByteSpan text, unsigned char *signature, unsigned int *length,
                     rsa_st *key) {
    const Bytes block = Sha1WithRsaBlock(text, ModulusSize(library, key));
    if (block.empty()) {
        return false;
    }
    const int size = static_cast<int>(block.size());
    if (library.privateEncrypt(size, block.data(), signature, key, RSA_NO_PADDING) != size) {
        return false;
    }
    *length = static_cast<unsigned int>(size);
    return true;
}

// The expected block is built and compared whole. Nothing of what the signature holds is parsed, so there is nothing
// to be lenient about.
bool VerifySha1WithRsa(const RawRsa &library, ByteSpan text, ByteSpan signature, rsa_st *key) {
    const Bytes expected = Sha1WithRsaBlock(text, ModulusSize(library, key));
    if (expected.empty() || signature.size() != expected.size()) {
        return false;
    }
    Bytes found(expected.size());
    const int size = static_cast<int>(signature.size());
    return library.publicDecrypt(size, signature.data(), found.data(), key, RSA_NO_PADDING) == size &&
           found == expected;
}
