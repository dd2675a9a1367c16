/* The kernel's process table under the target system's name. */
#ifndef LUM_PLATFORM_LINUX_SYS_SYSCTL_H
#define LUM_PLATFORM_LINUX_SYS_SYSCTL_H

#include <stddef.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

#define CTL_KERN 1
#define KERN_PROC 14
#define KERN_PROC_ALL 0

#define MAXCOMLEN 16 /* bytes of a command name; this system keeps 15 of them */

struct extern_proc {
    pid_t p_pid;
    char p_comm[MAXCOMLEN + 1];
};

struct kinfo_proc {
    struct extern_proc kp_proc;
};

/* Only { CTL_KERN, KERN_PROC, KERN_PROC_ALL }, with or without a 0 after it: one struct kinfo_proc for each process of
 * the system. With a null `oldp`, `*oldlenp` gets the bytes that the table needs, with some room for processes that
 * start in between. Otherwise it holds the bytes at `oldp` and gets those filled.
 *
 * 0, or -1 with errno: ENOMEM when the table does not fit (nothing useful is in `oldp` then), ENOENT for another name,
 * EPERM when `newp` is given, EINVAL for a null `oldlenp`, or what reading the table ran into. */
int sysctl(int *name, unsigned int namelen, void *oldp, size_t *oldlenp, void *newp, size_t newlen);

#ifdef __cplusplus
}
#endif

#endif
