// The one way to fail below the C boundary: a function answers its value, or an Error that says what went wrong.
//
//     base::Result<std::string> text = base::ReadWhole(file, kLargest);
//     if (!text) {
//         return base::Fail(text.error());
//     }
#pragma once

#include <string>
#include <utility>

#include <tl/expected.hpp>

namespace base {

struct Error {
    // For a person: names the thing and what is wrong with it, as a sentence or the end of one ("cannot write x: the
    // disk is full"). Never empty.
    std::string text;
    // For the caller: what it means is said where the function is declared. An errno for functions of base/; 0 when
    // there is nothing to tell apart.
    int code = 0;
};

template <typename Value> using Result = tl::expected<Value, Error>;

[[nodiscard]] inline tl::unexpected<Error> Fail(Error error) {
    return tl::unexpected<Error>(std::move(error));
}
[[nodiscard]] inline tl::unexpected<Error> Fail(std::string text, int code = 0) {
    return Fail(Error{std::move(text), code});
}
// "WHAT: " and the system's words for `number`, an errno, which becomes the code.
[[nodiscard]] tl::unexpected<Error> SystemFailure(const std::string &what, int number);

} // namespace base
