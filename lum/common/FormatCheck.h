// Translations used as formats. The tables of texts are files that others translate, so what they hold is a format only
// if it asks for the same arguments as the English text.
#pragma once

#include <string>

// True when `translated` has exactly the conversions of `english`, in the same order and spelling.
bool TakesSameArguments(const std::string &translated, const std::string &english);
