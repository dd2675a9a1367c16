// SIGINT, SIGTERM and SIGHUP: the first one asks for an orderly end, a second one ends the process at once.
#pragma once

namespace lumhost {

// Installs the handlers. SIGPIPE is ignored: a reader that has gone is no reason to leave an installation.
void WatchSignals();

// The signal that came, or 0.
int PendingSignal();

} // namespace lumhost
