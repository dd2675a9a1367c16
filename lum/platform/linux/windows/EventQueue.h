// Clicks that reach a program while it is busy. Main thread.
//
// Two faults of the window library's event queue show when the program does not look at its events for a while, as a
// container does when it checks a package: what has arrived is noticed only when something else arrives, and a release
// that arrived together with its press is handed out before it, so that a button waits for a release forever.
#pragma once

// Replaces the application's way of getting its next event. Once per process; more calls do nothing.
void MendEventQueue(void);
