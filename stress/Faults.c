// Faults of a machine that cannot be had otherwise, for a program that has this library preloaded:
//
//   FAULT_LIBRARY=PART     no library whose name has this in it can be opened at run time
//   FAULT_SYMBOL=NAME      this function is in none
//   FAULT_CLOCK=FILE       as soon as this file exists, the clock is a day behind
//   FAULT_KILL=FUNCTION    the process is killed when renameat2 has succeeded, or when it calls rename
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

static const char *setting(const char *name) {
    const char *value = getenv(name);
    return value ? value : "";
}

static void *real(const char *name) {
    static const char *const versions[] = {"GLIBC_2.34", "GLIBC_2.2.5", "GLIBC_2.17"};
    void *found = NULL;
    for (int i = 0; i < 3 && !found; ++i) {
        found = dlvsym(RTLD_NEXT, name, versions[i]);
    }
    return found;
}

void *dlopen(const char *file, int mode) {
    const char *missing = setting("FAULT_LIBRARY");
    if (file && *missing && strstr(file, missing)) {
        return NULL;
    }
    return ((void *(*)(const char *, int))real("dlopen"))(file, mode);
}

// Ends in a jump when optimised, so that the real one sees its caller.
void *dlsym(void *library, const char *name) {
    if (strcmp(name, setting("FAULT_SYMBOL")) == 0) {
        return NULL;
    }
    return ((void *(*)(void *, const char *))real("dlsym"))(library, name);
}

static time_t shift(void) {
    const char *file = setting("FAULT_CLOCK");
    return *file && syscall(SYS_faccessat, AT_FDCWD, file, F_OK) == 0 ? -24 * 3600 : 0;
}

int clock_gettime(clockid_t clock, struct timespec *now) {
    const int result = (int)syscall(SYS_clock_gettime, clock, now);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        now->tv_sec += shift();
    }
    return result;
}

int gettimeofday(struct timeval *restrict now, void *restrict zone) {
    (void)zone;
    struct timespec exact;
    clock_gettime(CLOCK_REALTIME, &exact);
    now->tv_sec = exact.tv_sec;
    now->tv_usec = exact.tv_nsec / 1000;
    return 0;
}

time_t time(time_t *result) {
    struct timespec exact;
    clock_gettime(CLOCK_REALTIME, &exact);
    if (result) {
        *result = exact.tv_sec;
    }
    return exact.tv_sec;
}

static void kill_at(const char *function, int result) {
    if (result == 0 && strcmp(function, setting("FAULT_KILL")) == 0) {
        kill(getpid(), SIGKILL);
    }
}

int renameat2(int from, const char *name, int to, const char *newName, unsigned how) {
    const int result = (int)syscall(SYS_renameat2, from, name, to, newName, how);
    kill_at("renameat2", result);
    return result;
}

int rename(const char *name, const char *newName) {
    kill_at("rename", 0);
    return (int)syscall(SYS_renameat2, AT_FDCWD, name, AT_FDCWD, newName, 0);
}
