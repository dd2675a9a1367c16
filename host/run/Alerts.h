// The container's own questions and messages, in windows. Only to be used where windows can be shown.
#pragma once

#include <string>
#include <vector>

namespace lumhost {

// Shows the text until the user closes it. Main thread, between two calls of the extension.
void ShowAlert(const std::string &title, const std::string &text);

enum class Permission { Always, Once, No };

// Asks whether pages of these sites may install and start software. No when the user does nothing but close it.
Permission AskPermission(const std::vector<std::string> &sites);

} // namespace lumhost
