/* The smallest container that starts a meeting with the extension.
 *
 *     minimal-container lumext.bundle/lumext NAME=VALUE...
 *
 * NAME=VALUE are the page's parameters. "LumUrlRoot" is a folder here, file:///srv/site, so that this example needs no
 * HTTP: what a real container does in GetFile is a transfer on a thread of its own, whose outcome it reports on the
 * main thread. It does not know the libraries that the extension uses and needs only dlopen.
 *
 * Exit status: 0 when the page was sent on, 1 when the user was shown a message, 2 when it could not start. */
#include <dlfcn.h>
#include <libgen.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "lum/lumext/lumextInterface.h"

enum { kMaxRequests = 64, kHeartbeatNanoseconds = 100000000, kMaxHeartbeats = 1200 };

struct Request {
    LUMGetFileCallback callback;
    void *context;
    char path[4096];
};

struct Page { /* one page instance; its address is the cookie */
    char **parameters;
    struct Request requests[kMaxRequests];
    int requested, served;
    int sentOn, messages;
};

static const char *GetParameter(void *cookie, const char *name) {
    const size_t length = strlen(name);
    for (char **parameter = ((struct Page *)cookie)->parameters; *parameter; ++parameter) {
        if (strncmp(*parameter, name, length) == 0 && (*parameter)[length] == '=') {
            return *parameter + length + 1;
        }
    }
    return NULL;
}

static void OpenURL(void *cookie, const char *target, const char *url) {
    if (!target) { /* a request in the background: the site's log */
        printf("request %s\n", url);
        return;
    }
    printf("open %s in %s\n", url ? url : "nothing", target);
    ((struct Page *)cookie)->sentOn = 1;
}

/* Only notes the request: the outcome is reported from the main loop, after the extension has returned. */
static void GetFile(void *cookie, LUMGetFileCallback callback, void *context, const char *url) {
    struct Page *page = cookie;
    if (page->requested == kMaxRequests) {
        callback(NULL, context, LUMGetFileNotifyDone, NULL);
        return;
    }
    struct Request *request = &page->requests[page->requested++];
    request->callback = callback;
    request->context = context;
    const char *path = strncmp(url, "file://", 7) == 0 ? url + 7 : "";
    snprintf(request->path, sizeof request->path, "%.*s", (int)strcspn(path, "?"), path);
}

static void ServeOne(struct Page *page) {
    const struct Request *request = &page->requests[page->served++];
    struct stat status;
    if (stat(request->path, &status) != 0) {
        request->callback(NULL, request->context, LUMGetFileNotifyDone, NULL);
        return;
    }
    request->callback(NULL, request->context, LUMGetFileNotifyProgress, (void *)(uintptr_t)status.st_size);
    request->callback(NULL, request->context, LUMGetFileNotifyDone, (void *)request->path);
}

/* The package is a tar archive that holds the component. Its hash and signature have been checked by now; a container
 * still looks at what it unpacks, and moves it into place in one step. */
static int InstallFile(void *cookie, const char *file, const char *destination, void *extension) {
    (void)cookie;
    (void)extension;
    char folder[4096];
    snprintf(folder, sizeof folder, "%s", destination);
    const pid_t child = fork();
    if (child == 0) {
        execlp("tar", "tar", "-xf", file, "-C", dirname(folder), (char *)NULL);
        _exit(127);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 3;
}

static struct _NPWindow *GetWindow(void *cookie) {
    (void)cookie;
    return NULL;
}

static void Stop(void *cookie) {
    struct Page *page = cookie;
    page->served = page->requested; /* no callback comes any more */
}

static void ShowMessage(void *cookie, const char *message) {
    fprintf(stderr, "%s\n", message);
    ((struct Page *)cookie)->messages++;
}

int main(int argc, char **argv) {
    void *code = argc > 1 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    if (!code) {
        fprintf(stderr, "%s\n", argc > 1 ? dlerror() : "usage: minimal-container lumext.bundle/lumext NAME=VALUE...");
        return 2;
    }
    uint32_t (*init)(void *, tagLUMInterface *, void **);
    uint32_t (*heartbeat)(void *, void *);
    uint32_t (*leave)(void *, void *);
    *(void **)&init = dlsym(code, "LumInitInstance");
    *(void **)&heartbeat = dlsym(code, "LumHeartbeat");
    *(void **)&leave = dlsym(code, "LumExitInstance");
    if (!init || !heartbeat || !leave) {
        fprintf(stderr, "%s is not the extension\n", argv[1]);
        return 2;
    }

    tagLUMInterface services = {
        .pfnGetParameter = GetParameter,
        .pfnOpenURL = OpenURL,
        .pfnGetFile = GetFile,
        .pfnInstallFile = InstallFile,
        .pfnGetWindow = GetWindow,
        .pfnStop = Stop,
        .pfnShowMessage = ShowMessage,
    };
    struct Page page = {.parameters = argv + 2};
    const struct timespec pause = {.tv_nsec = kHeartbeatNanoseconds};
    void *component = NULL;
    const uint32_t error = init(&page, &services, &component);
    if (error != kLUMNoError) {
        fprintf(stderr, "the extension does not start: %u\n", (unsigned)error);
        return 2;
    }
    for (int i = 0; i < kMaxHeartbeats && !page.sentOn && !page.messages; ++i) {
        while (page.served < page.requested) {
            ServeOne(&page);
        }
        heartbeat(&page, component);
        nanosleep(&pause, NULL);
    }
    leave(&page, component);
    return page.sentOn ? 0 : 1;
}
