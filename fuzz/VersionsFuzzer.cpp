// Version texts. Input: the separators, then the text.
#include "fuzz/Check.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/VersionOrder.h"

namespace {

// The parts with what stood between them have the length of the whole.
void CheckDivision(const std::string &text, const std::string &separators) {
    const std::vector<std::string> parts = divideStr(text, separators);
    if (text.empty() || separators.empty()) {
        Require(parts.empty(), "nothing is divided into nothing, nor by nothing");
        return;
    }
    const bool endsWithSeparator = separators.find(text.back()) != std::string::npos;
    std::size_t length = parts.size() - (endsWithSeparator ? 0 : 1);
    for (const std::string &part : parts) {
        Require(part.find_first_of(separators) == std::string::npos, "no part has a separator in it");
        length += part.size();
    }
    Require(length == text.size(), "nothing is lost between the parts");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view rest = InputText(data, size);
    const std::string separators = TakeLine(rest);
    const std::string text(rest);
    CheckDivision(text, separators);

    const std::string unset = "not set"; // no formal version has a blank in it
    std::string formal = unset;
    FormalizeVersionString(formal, text.c_str());
    Require((formal == unset) == (text.empty() || text[0] == '\0'), "only an empty version leaves the result as it is");
    Require(formal == unset || formal.find_first_of(" \t\r\n") == std::string::npos,
            "a formal version is free of blanks");
    Require(ParseVersion(formal).has_value() == (divideStr(formal, ",").size() == 4), "four parts make a version");
    ParseVersion(text);
    return 0;
}
