// The name under which the meeting application shows itself.
#pragma once

#include <string>

// Makes the localized bundle name of the application that holds the executable fit the page's product type: 1 and 2 are
// one product, every other value is the other. Writes the localized strings of every localization of the bundle when
// the name in the user's language does not fit; nothing when there is no such bundle. What cannot be written stays as
// it is.
void MatchBundleNameToProduct(const std::string &executablePath, long productType);
