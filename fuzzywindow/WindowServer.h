// One header; the build file chooses the source.
#pragma once

// True when a window can be shown. AppKit ends the process when it is used without a window server, so ask before.
bool HasWindowServer();
