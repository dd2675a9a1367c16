// The "Too Many Meetings" alert. Main thread only.
#pragma once

#include <string>

// Shows the alert in the language of the page's identifier (null: English) and returns when the user has closed it.
// False, and nothing is shown, without a window server.
bool ShowTooManyMeetingsAlert(const char *languageId);

// What the alert says, as one text for a host that has to show it itself.
std::string TooManyMeetingsText(const char *languageId);
