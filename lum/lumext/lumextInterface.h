// The interface between a plug-in container (the host) and the extension, in C.
//
// The host loads lumext.bundle, fills a tagLUMInterface and calls the entry points at the end of this header on its
// main thread, one at a time. For each page instance: LumInitInstance once, then LumSetWindow, LumHandleEvent,
// LumActionNotify and LumHeartbeat as often as it likes (the heartbeat several times a second, because all timed
// behaviour is evaluated on heartbeats only), and finally LumExitInstance.
//
// For the whole file:
// - Texts are UTF-8, terminated with NUL. A text that one side passes to the other stays the sender's; the receiver
// copies
//   what it keeps and frees nothing. A text handed to a function, or returned by one, is not looked at after the next
//   call between the two.
// - The cookie is the host's own; the extension hands it back as the first argument of every service call and does not
//   look into it.
// - The host's functions may call back into the extension (a callback from within pfnGetFile, for example), on the same
//   thread.
// - Nothing is thrown in either direction.
#ifndef LUM_LUMEXT_LUMEXTINTERFACE_H
#define LUM_LUMEXT_LUMEXTINTERFACE_H

#include <stdint.h>

// NOLINTBEGIN(readability-identifier-naming): the names are the interface's own

#ifdef __cplusplus
extern "C" {
#endif

struct _NPWindow;   /* the browser's plug-in window record; passed through, never looked into */
struct EventRecord; /* the browser's event record; passed through, never looked into */

/* Results of the entry points. */
enum {
    kLUMNoError = 0,
    kLUMErrorCreateComponent = 20005, /* the component object could not be created */
    kLUMErrorNullArgument = 20007     /* the component, or the place for it, is null */
};

/* An enumeration that is an int in C++ as it is in C, so that any value of the other side's may be passed. */
#ifdef __cplusplus
#define LUM_INT_ENUM(name) enum name : int
#else
#define LUM_INT_ENUM(name) enum name
#endif

/* What a get-file callback reports. Other values are ignored. */
typedef LUM_INT_ENUM(LUMGetFileNotifyMessageType){
    LUMGetFileNotifyDone = 0,     /* the transfer has ended; data: local path (text), or null when it failed */
    LUMGetFileNotifyProgress = 1, /* data: bytes newly received since the last report, in the low 32 bits */
} LUMGetFileNotifyMessageType;

/* `opaque` is ignored. `context` is the pointer given to pfnGetFile. The path of type 0 is read before the callback
 * returns; the file must exist that long and belongs to the host. Exactly one call of type 0 ends a request. */
typedef void (*LUMGetFileCallback)(void *opaque, void *context, LUMGetFileNotifyMessageType type, void *data);

/* The shape of the standard-download callback. The extension's own operations of this shape do nothing, and the two
 * types behind it are the host's. */
typedef int LUMStdDownloadMessageType;
struct tagLUMDownloadInfo;
typedef void (*LUMStdDownloadCallback)(void *opaque, LUMStdDownloadMessageType type, const char *text1,
                                       const char *text2, int value, struct tagLUMDownloadInfo *info);

/* The value of the page parameter "klvpagewaiting_value" by which the page says that it waits for the application's
 * report: "true" in base64. */
#define LUM_PAGE_WAITS "dHJ1ZQ=="

/* A slot that the extension never calls. */
typedef void (*LUMUnusedSlot)(void);

/* The service table. It must outlive every instance that was given it. The slots keep their places: a host with a
 * larger table appends. The extension calls only the named ones; it skips a slot that is null. */
typedef struct tagLUMInterface {
    LUMUnusedSlot pfnSlot0;
    LUMUnusedSlot pfnSlot1;
    LUMUnusedSlot pfnSlot2;
    LUMUnusedSlot pfnSlot3;
    LUMUnusedSlot pfnSlot4;
    LUMUnusedSlot pfnSlot5;
    LUMUnusedSlot pfnSlot6;
    LUMUnusedSlot pfnSlot7;

    /* 8: the page's value for a parameter, or null when the page does not define it. Copied at once, so the text need
     * not outlive the host's next call, and one buffer will do for all answers. Names are asked for exactly as
     * documented. */
    const char *(*pfnGetParameter)(void *cookie, const char *name);

    LUMUnusedSlot pfnSlot9;

    /* 10: send the frame `target` to `url`. With a null target it is a GET request in the background whose answer
     * nobody looks at. A null url is the page's own missing parameter, passed on. */
    void (*pfnOpenURL)(void *cookie, const char *target, const char *url);

    /* 11: download `url`, asynchronously; reports through `callback` with `context`. */
    void (*pfnGetFile)(void *cookie, LUMGetFileCallback callback, void *context, const char *url);

    /* 12: unpack the package `file`, whose hash and signature the extension has accepted, so that the component stands
     * at the path `destination` (install folder + item name; the folder exists). 0, or an error code of the host's:
     * 1 to 6, 12, 20007, 20009 and 20100 have messages of their own, any other has the general one. */
    int (*pfnInstallFile)(void *cookie, const char *file, const char *destination, void *extension);

    LUMUnusedSlot pfnSlot13;

    /* 14: the current plug-in window record, or null. */
    struct _NPWindow *(*pfnGetWindow)(void *cookie);

    /* 15: stop this activity: running downloads of the instance end without further callbacks. */
    void (*pfnStop)(void *cookie);

    LUMUnusedSlot pfnSlot16;

    /* 17: show a message to the user; the text is complete and in the user's language. */
    void (*pfnShowMessage)(void *cookie, const char *message);
} tagLUMInterface;

#define LUM_EXPORT __attribute__((visibility("default")))

/* Starts a page instance. `services` may be null: every page parameter is absent then and every service is skipped.
 * Stores the component handle at `ppComponent` and returns 0; 20007 when `ppComponent` is null; 20005, with null
 * stored, when there is no memory for it. What goes wrong later is told to the user and the log, not here. */
LUM_EXPORT uint32_t LumInitInstance(void *cookie, tagLUMInterface *services, void **ppComponent);

/* Hands on an event; the result is the loaded component's, 0 when there is none or `component` is null. */
LUM_EXPORT uint8_t LumHandleEvent(void *cookie, struct EventRecord *event, uint8_t flag, void *component);

/* Hands on the plug-in window, which may be null. 0, or 20007 for a null component. */
LUM_EXPORT uint32_t LumSetWindow(void *cookie, struct _NPWindow *window, void *component);

/* Does nothing. */
LUM_EXPORT void LumActionNotify(void *cookie, uint32_t value1, uint32_t value2, void *component);

/* One tick of the controller. It may block for up to about 15 s while an application starts. 0, or 20007 for a null
 * component. */
LUM_EXPORT uint32_t LumHeartbeat(void *cookie, void *component);

/* Ends the instance and destroys the component; the handle is dead afterwards, and so are the contexts of its
 * downloads: the host ends them without a callback. 0, or 20007 for a null component.
 *
 * It may be called while another call of the extension is on the stack (from within pfnShowMessage, pfnInstallFile or
 * pfnStop, or while an alert or a panel is open): no service is called from then on, not even by that call, and the
 * memory is freed when that call returns. */
LUM_EXPORT uint32_t LumExitInstance(void *cookie, void *component);

#ifdef __cplusplus
}
#endif

#endif

// NOLINTEND(readability-identifier-naming)
