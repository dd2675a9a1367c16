// SIGINT and SIGTERM stay what the program has made of them. Main thread.
//
// The window library's back end takes both when it is loaded. Its handler ends the application from within the signal,
// and hangs when that comes while a lock is held, as is likely while a program starts.
#pragma once

// To be called before the application object is made. Once per process; more calls do nothing.
void KeepSignals(void);
