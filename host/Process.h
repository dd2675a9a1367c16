// This program as a process: its version, its complaints, its signals and its limits.
#pragma once

#include <filesystem>
#include <string>

namespace lumhost {

inline constexpr const char *kVersion = LUMHOST_VERSION;

// Prints "lumhost: TEXT" on standard error, on one line, whatever is in the text.
void Complain(const std::string &text);

// From now on the first SIGINT, SIGTERM or SIGHUP only asks for an orderly end (PendingSignal); the second ends the
// process at once. SIGPIPE is ignored: a reader that has gone is no reason to abort an installation. So is SIGXFSZ:
// writing beyond the user's limit fails, and the failure is reported.
void WatchSignals();
// The signal that came, or 0.
int PendingSignal();

// Lets the process have more open files: the extension keeps one for every package that it has hashed. Not as many as
// the system would allow, because a launched program closes every possible one first.
void RaiseDescriptorLimit();

// Makes an empty folder at this place the working folder, so that a relative name means nothing of the user's. It
// stays, empty and not to be written, for applications that are started from it. Where it cannot be made: the root
// folder.
void EnterEmptyFolder(const std::filesystem::path &folder);

} // namespace lumhost
