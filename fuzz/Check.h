// What every fuzzer needs: one input cut into its parts, and a way to fail.
//
// A fuzzer is a file NAME_fuzzer.cpp (or .mm) with libFuzzer's function LLVMFuzzerTestOneInput. It calls the project's
// code on an input and checks with Require what must hold for every input. Inputs begin with a line for each argument
// that the call has beside its main one, so that an input can be read and written in an editor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

inline std::string_view InputText(const std::uint8_t *data, std::size_t size) {
    return {reinterpret_cast<const char *>(data), size};
}

// Takes the first line, without its end, off `rest`; all of it when there is no line end.
inline std::string TakeLine(std::string_view &rest) {
    const std::size_t end = rest.find('\n');
    const std::string line(rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return line;
}

inline void Require(bool holds, const char *what) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}
