// The INI reader. Input: the section, the key, the size of the result in decimal, then the file.
#include <algorithm>
#include <vector>

#include "fuzz/Check.h"
#include "lum/common/lumutil.h"
#include "base/ScopedFile.h"

namespace {

constexpr unsigned int kLargestResult = 4096;
constexpr char kUntouched = '\x7f';

unsigned int ResultSize(const std::string &text) {
    return std::clamp(static_cast<unsigned int>(std::strtoul(text.c_str(), nullptr, 10)), 1U, kLargestResult);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view file = InputText(data, size);
    const std::string section = TakeLine(file);
    const std::string key = TakeLine(file);
    const unsigned int resultSize = ResultSize(TakeLine(file));
    if (file.empty()) {
        return 0;
    }
    std::string content(file);
    const base::ScopedFile stream(fmemopen(content.data(), content.size(), "r"));
    Require(stream != nullptr, "the stream opens");
    // As large as it is said to be, so that the address check sees each byte that is written beyond.
    std::vector<char> result(resultSize, kUntouched);
    if (!QXReadIni(stream.get(), section.c_str(), key.c_str(), result.data(), resultSize)) {
        Require(std::all_of(result.begin(), result.end(), [](char c) { return c == kUntouched; }),
                "a value that is not found leaves the result untouched");
        return 0;
    }
    const auto end = std::find(result.begin(), result.end(), '\0');
    Require(end != result.end(), "the value is terminated");
    Require(file.find(std::string_view(result.data(), static_cast<std::size_t>(end - result.begin()))) !=
                std::string_view::npos,
            "the value is in the file");
    return 0;
}
