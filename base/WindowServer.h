// One header; the build file chooses the source.
#pragma once

namespace base {

// Whether windows can be shown: the window server that DISPLAY names answers. Asks it at each call. AppKit ends the
// process when it is used without a window server, so ask before. Any thread.
bool HasWindowServer();

} // namespace base
