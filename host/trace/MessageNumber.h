// Numbers in the extension's texts.
#pragma once

#include <string_view>

namespace lumhost {

// The message's number as its text tells it: in square brackets, or the whole text. 0 when it does not.
int MessageNumber(std::string_view text);

// The value of "ErrorCode" in the query of a log request; 0 when there is none.
int LogCode(std::string_view url);

} // namespace lumhost
