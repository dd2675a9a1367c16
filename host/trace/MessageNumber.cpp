#include "host/trace/MessageNumber.h"

#include <charconv>

namespace lumhost {

namespace {

int Number(std::string_view text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number > 0 ? number : 0;
}

} // namespace

int MessageNumber(std::string_view text) {
    for (std::size_t open = text.find('['); open != std::string_view::npos; open = text.find('[', open + 1)) {
        const std::size_t close = text.find(']', open);
        if (close == std::string_view::npos) {
            break;
        }
        if (const int number = Number(text.substr(open + 1, close - open - 1))) {
            return number;
        }
    }
    return Number(text);
}

int LogCode(std::string_view url) {
    constexpr std::string_view kName = "ErrorCode=";
    std::size_t at = url.find_first_of("?&");
    while (at != std::string_view::npos) {
        const std::string_view rest = url.substr(at + 1);
        if (rest.starts_with(kName)) {
            return Number(rest.substr(kName.size(), rest.find('&') - kName.size()));
        }
        at = url.find('&', at + 1);
    }
    return 0;
}

} // namespace lumhost
