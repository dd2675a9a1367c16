#include "lum/common/FormatCheck.h"

namespace {

// The conversions of a format, in order: "%d%s" for "a %d b %s".
std::string Conversions(const std::string &format) {
    std::string found;
    for (std::size_t i = format.find('%'); i != std::string::npos; i = format.find('%', i + 1)) {
        const std::size_t end = format.find_first_of("diouxXeEfFgGaAcspn@%", i + 1);
        found += format.substr(i, end == std::string::npos ? end : end - i + 1);
        if (end == std::string::npos) {
            break;
        }
        i = end;
    }
    return found;
}

} // namespace

bool TakesSameArguments(const std::string &translated, const std::string &english) {
    return Conversions(translated) == Conversions(english);
}
