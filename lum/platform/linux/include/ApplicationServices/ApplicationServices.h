/* Application services, as far as the extension uses them: running applications and window levels. */
#ifndef LUM_PLATFORM_LINUX_APPLICATIONSERVICES_H
#define LUM_PLATFORM_LINUX_APPLICATIONSERVICES_H

#include <CoreServices/CoreServices.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* --- Running applications ---
 *
 * The running applications are the processes of this user that have not ended; one that has ended but was not
 * collected yet by the process that started it (a zombie) is not among them. A serial number stays with one process:
 * when that has ended, calls refuse the number, even when its process id has been given to another. procNotFound is the
 * answer for a process that is not there. */

/* Values of lowLongOfPSN while highLongOfPSN is 0. */
enum {
    kNoProcess = 0,      /* where a walk begins, and what it gives at its end */
    kCurrentProcess = 2, /* the calling process */
};

enum {
    procNotFound = -600,
    appIsDaemon = -606,       /* the process has no window */
    connectionInvalid = -609, /* the window server or the other process cannot be reached */
};

/* Fields that this system does not give are 0. */
typedef struct ProcessInfoRec {
    UInt32 processInfoLength;          /* in: sizeof(ProcessInfoRec) */
    StringPtr processName;             /* in: null, or a place for a Str255, which gets the name */
    ProcessSerialNumber processNumber; /* out */
    UInt32 processType;
    OSType processSignature;
    UInt32 processMode;
    Ptr processLocation;
    UInt32 processSize;
    UInt32 processFreeMem;
    ProcessSerialNumber processLauncher;
    UInt32 processLaunchDate;
    UInt32 processActiveTime;
    FSRefPtr processAppRef; /* in: null; the place of the application is not given */
} ProcessInfoRec;

/* Steps from one application to the next. Starting with { 0, kNoProcess } takes a new list; the walk then goes
 * through that list, and so does GetProcessInformation for its members: an application that ends in between does not
 * break the walk. Gives procNotFound and kNoProcess at the end. Main thread only. */
OSErr GetNextProcess(ProcessSerialNumber *psn);
/* The name is the file name of the executable (of the script, where a script is run), UTF-8, cut at 255 bytes. */
OSErr GetProcessInformation(const ProcessSerialNumber *psn, ProcessInfoRec *info);
OSStatus GetProcessPID(const ProcessSerialNumber *psn, pid_t *pid);
OSStatus GetProcessForPID(pid_t pid, ProcessSerialNumber *psn);

/* Asks the window manager to bring a window of the process to the front, one with a title rather than one without, the
 * uppermost of them; while the process has none, as soon as it shows one in the next half minute, even when the calling
 * process has ended by then. noErr says that it was asked or will be; whether the window manager obeys is its own
 * affair. connectionInvalid without a window server, appIsDaemon when the process has no window and none can be waited
 * for, because the extension's bundle lacks the program that does. */
OSErr SetFrontProcess(const ProcessSerialNumber *psn);

/* --- Window levels --- */

typedef int32_t CGWindowLevelKey;
typedef int32_t CGWindowLevel;

enum {
    kCGNormalWindowLevelKey = 4,
    kCGFloatingWindowLevelKey = 5,
};

/* The level to give to -[NSWindow setLevel:]; that of ordinary windows for any other key. */
CGWindowLevel CGWindowLevelForKey(CGWindowLevelKey key);

#ifdef __cplusplus
}
#endif

#endif
