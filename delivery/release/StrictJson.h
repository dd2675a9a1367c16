// JSON as signed metadata needs it: one text, one meaning.
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

#include "base/Result.h"

namespace delivery {

// The object or array in `text`. Refuses what two readers could understand differently, and what costs more than it is
// worth: repeated names, fractions and exponents, numbers of more than 64 bits, bytes that are not UTF-8, lone
// surrogates, control characters in strings, comments, bytes after the end, and too much nesting or too many values.
// Fails with ReleaseFault::Malformed; the text of the error continues "... cannot be used: ". Any thread.
base::Result<Json::Value> ReadStrictJson(std::string_view text);

// The bytes that are signed and hashed (OLPC's canonical JSON): names sorted by code point, no white space, and only
// quotation marks and backslashes escaped. The value must not hold fractions; what ReadStrictJson returns never does.
std::string CanonicalJson(const Json::Value &value);

} // namespace delivery
