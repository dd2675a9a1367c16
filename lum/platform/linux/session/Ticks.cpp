#include <CoreServices/CoreServices.h>
#include <errno.h>
#include <time.h>

namespace {

constexpr unsigned long kTicksPerSecond = 60;
constexpr long kNanosecondsPerSecond = 1'000'000'000;

} // namespace

void Delay(unsigned long numTicks, unsigned long *finalTicks) {
    timespec left{static_cast<time_t>(numTicks / kTicksPerSecond),
                  static_cast<long>(numTicks % kTicksPerSecond * kNanosecondsPerSecond / kTicksPerSecond)};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
    if (finalTicks) {
        timespec now{};
        clock_gettime(CLOCK_BOOTTIME, &now);
        *finalTicks = static_cast<unsigned long>(now.tv_sec) * kTicksPerSecond +
                      static_cast<unsigned long>(now.tv_nsec) * kTicksPerSecond / kNanosecondsPerSecond;
    }
}
