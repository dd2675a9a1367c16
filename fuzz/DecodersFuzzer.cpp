// Base64 and hexadecimal digits.
#include <algorithm>

#include "fuzz/Check.h"
#include "lum/security/Decoders.h"

namespace {

std::string Hexadecimal(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += kDigits[static_cast<unsigned char>(byte) >> 4];
        text += kDigits[static_cast<unsigned char>(byte) & 15];
    }
    return text;
}

std::string Base64(std::string_view bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t j = 0; j < 3; ++j) {
            group = group << 8 | (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j]) : 0U);
        }
        for (std::size_t j = 0; j < 4; ++j) {
            text += i + j <= bytes.size() ? kDigits[group >> (18 - 6 * j) & 63] : '=';
        }
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view input = InputText(data, size);
    Require(DecodeHexadecimal(Hexadecimal(input)) == input, "hexadecimal digits give the bytes back");
    Require(DecodeBase64(Base64(input)) == input, "base64 gives the bytes back");
    Require(DecodeHexadecimal(input).size() == std::min(input.find('\0'), input.size()) / 2, "a byte for each pair");
    Require(DecodeBase64(input).size() <= (input.size() + 3) / 4 * 3, "three bytes for each group of four");
    return 0;
}
