// The warnings that go to a site's log in the query of an address: each line of the input is one.
#include "fuzz/Check.h"
#include "host/trace/TraceCollector.h"
#include "base/Text.h"

namespace {

bool IsUnreserved(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

int DigitValue(char c) {
    const std::string_view digits = "0123456789ABCDEF";
    const std::size_t value = digits.find(c);
    return value == std::string_view::npos ? -1 : static_cast<int>(value);
}

// The text that is encoded in `query`, with every rule of the encoding checked.
std::string Decoded(std::string_view query) {
    std::string text;
    for (std::size_t i = 0; i < query.size(); ++i) {
        if (query[i] != '%') {
            Require(IsUnreserved(query[i]), "only unreserved characters stand for themselves");
            text += query[i];
            continue;
        }
        Require(i + 2 < query.size(), "no encoded byte is cut");
        const int high = DigitValue(query[i + 1]);
        const int low = DigitValue(query[i + 2]);
        Require(high >= 0 && low >= 0, "two hexadecimal digits follow a percent sign");
        text += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view input = InputText(data, size);
    Require(Decoded(base::PercentEncode(input)) == input, "encoding can be undone");

    lumhost::TraceCollector collector;
    collector.Listen([](const lumhost::TraceLine &line) {
        const std::string formatted = lumhost::FormatLine(line);
        Require(formatted.find('\n') == std::string::npos && base::IsUtf8(formatted), "a line is one line of text");
    });
    for (std::string_view rest = input; !rest.empty();) {
        const std::string line = TakeLine(rest);
        collector.Add(line.empty() ? 0 : line[0] % 8, line);
        const std::string answer = collector.Warnings();
        Require(answer.size() <= lumhost::TraceCollector::kLongestAnswer, "the answer fits into an address");
        Require(base::IsUtf8(Decoded(answer)), "the answer is text");
    }
    collector.ResetWarnings();
    Require(collector.Warnings().empty(), "nothing is left after a reset");
    return 0;
}
