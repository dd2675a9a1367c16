// Where GetTickCount counts from. For tests of what depends on the time of day; nothing else moves it.
#pragma once

struct timeval;

// Zero until the first call of GetTickCount.
timeval &TickOrigin();
