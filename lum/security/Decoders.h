// The text decoders of CryptoWrapper.h for plain C++. A result's bytes are a std::string's characters.
// Main thread only.
#pragma once

#include <string>
#include <string_view>

// The bytes of a base64 text, which is expected on one line. What cannot be decoded ends it, so a damaged text gives
// the bytes before the damage, or none. Empty without libcrypto.
std::string DecodeBase64(std::string_view text);

// The bytes of pairs of hexadecimal digits, each pair read as strToChar does. An odd last digit is left out; a NUL
// character ends the text.
std::string DecodeHexadecimal(std::string_view text);
