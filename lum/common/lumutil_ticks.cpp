#include <sys/time.h>

#include "lum/common/lumutil.h"
#include "lum/common/TickOrigin.h"

timeval &TickOrigin() {
    static timeval origin{};
    return origin;
}

unsigned int GetTickCount() {
    timeval now{};
    gettimeofday(&now, nullptr);
    timeval &origin = TickOrigin();
    const bool unset = origin.tv_sec == 0 && origin.tv_usec == 0;
    if (unset || now.tv_sec < origin.tv_sec) { // the clock went back: count from now on
        origin = now;
    }
    return static_cast<unsigned int>((now.tv_sec - origin.tv_sec) * 1000 + (now.tv_usec - origin.tv_usec) / 1000);
}
