// The placeholder-window framework: a window that looks like the meeting application starting up, shown while that
// application is still being fetched, and a copy of the instruction file, kept so that the next start need not fetch
// it.
//
// A start, as the framework sees it:
//
//   createLumFuzzyWindow
//     isNeedUpdateLumIni, getSavedLumIniPath    may the kept instruction file be used?
//     start                                     the window, with "Preparing your meeting..."
//     saveLumIniFile                            the instruction file, once it is there
//     setTotalDownloadSize, updateDownloadedSize   the window shows the share that has arrived
//     noticeDownloadSuccess                     the window shows "Connecting..."
//     isReady                                   may the page go on?
//     stop                                      the window goes
//   destroyLumFuzzyWindow
//
// The window also goes by itself: when the meeting application announces that it is there (the distributed notification
// "KLVMeetingLaunchedNotification"), or half a minute after noticeDownloadSuccess when nothing announces itself. And
// the user may close it (also with Escape), which ends the start: stopLum.
//
// For the whole file:
// - One thread, the main thread: the framework is called on it, and calls the delegate on it.
// - The window lives on the run loop of that thread. In a process that runs no NSApplication of its own the framework
//   handles the window's events in start, setTotalDownloadSize, updateDownloadedSize and isReady,
//   so stopLum may be called from within these.
// - Without a window server no window is shown, and everything else is as ever.
// - Texts are UTF-8. What is not is shown as well as it can be. A text handed over is copied.
// - Nothing is thrown, in either direction. What goes wrong is told to the delegate as a warning.
#pragma once

#include <string>

// NOLINTBEGIN(readability-identifier-naming): the names are the interface's own

#define LUM_FUZZY_EXPORT __attribute__((visibility("default")))

// The window's texts.
enum FUZZY_WINDOW_STRING_KEY : int {
    FUZZY_WINDOW_MEETING_TOPIC = 0,
    FUZZY_WINDOW_HOST_LABEL = 1, // ends with a blank; the host's name follows
    FUZZY_WINDOW_HOST_NAME = 2,
    FUZZY_WINDOW_PREPARING = 3,  // while the download goes on
    FUZZY_WINDOW_CONNECTING = 4, // from noticeDownloadSuccess on
};

// What the framework asks of its user. Called at any time between createLumFuzzyWindow and destroyLumFuzzyWindow, and
// only then.
class ILumFuzzyWindowDelegate {
public:
    // The user closed the window: end everything. Called at most once for each start(). The window is gone by then;
    // the delegate may call the manager from within, and may destroy it.
    virtual void stopLum() = 0;

    // Asked in start(), once for each key. An empty text leaves its place empty.
    virtual std::string getLocailizedStringValueByKey(FUZZY_WINDOW_STRING_KEY key) = 0;

    // The version of the application that this start wants: the product version, "_", and the build version with "_"
    // in place of its dots. Empty: unknown. Asked in isNeedUpdateLumIni.
    virtual std::string getFakeClientAppVersion() = 0;

    // The property list of the installed application, FOLDER/NAME.app/Contents/Info.plist, where the last component of
    // FOLDER is the product version. It need not exist; empty: unknown. Asked in isNeedUpdateLumIni.
    virtual std::string getAppPListPath() = 0;

    // Where the window's place is kept. Need not exist, nor its folder; empty: it is not kept. Asked in start().
    virtual std::string getAppLastPositionFile() = 0;

    // The folder in which the instruction file is kept. Need not exist; empty: it is not kept.
    virtual std::string getDefInstallPath() = 0;

    // The window's title; when it is empty, the topic, or else FUZZY_WINDOW_PREPARING. Asked in start().
    virtual std::string getLumWindowTitle() = 0;

    // Whether the window shows a lock. Asked in start().
    virtual bool isLumSupportSSL() = 0;

    virtual void traceInfo(const std::string &text) = 0;
    virtual void traceWarning(const std::string &text) = 0;
    virtual void traceError(const std::string &text) = 0;

    // The SHA-256 of the file, in hexadecimal digits; empty when there is none.
    virtual std::string sha256(const char *path) = 0;

protected:
    // No object is destroyed through its interface; a virtual destructor would change the table of functions.
    ~ILumFuzzyWindowDelegate() = default;
};

class ILumFuzzyWindowManager {
public:
    // Shows the window, where the user last left it as far as that is on a screen now, and brings it to the front.
    // A second call only brings it to the front; a call after stop() is a new start.
    virtual void start() = 0;

    // Puts the window away and keeps its place. May be called at any time and again. When the window was started and
    // noticeDownloadSuccess has not been called since, that start has failed, and the kept instruction file may be the
    // cause: it is not offered a second time.
    virtual void stop() = 0;

    // Everything has arrived; the application is about to be launched.
    virtual void noticeDownloadSuccess() = 0;

    // Whether the page may go on: when everything has arrived (noticeDownloadSuccess), or no window is shown. It does
    // not say that the application's own window is there.
    virtual bool isReady() = 0;

    // False only while a kept instruction file is there, is what was kept (its SHA-256), was kept less than a day ago
    // (a time in the future counts as too long ago), and the installed application is of the version wanted: the text
    // product version + "_" + its CFBundleVersion with "_" for each dot is the delegate's getFakeClientAppVersion,
    // letter for letter. Equal versions written differently (1.0 and 1.0.0) count as different: the file is fetched
    // then, which is never wrong. False does not promise that the site still offers what the file names, nor that it
    // came from the same site: a copy belongs to a folder.
    virtual bool isNeedUpdateLumIni() = 0;

    // Where the instruction file is kept, whether or not it is there now; empty when it is not kept at all.
    virtual std::string getSavedLumIniPath() = 0;

    // Keeps a copy of the file, whole or not at all. Nothing for null and for "". The copy itself stays as it is, so a
    // file that is used again and again is not kept for longer. A file that no instructions can be read from (the error
    // page of a site) is not kept.
    virtual void saveLumIniFile(const char *path) = 0;

    // The bytes to be fetched in all. 0: unknown; the window shows that something goes on, but no share.
    virtual void setTotalDownloadSize(unsigned int bytes) = 0;

    // Bytes that have arrived since the last call. They are summed up; more than the total shows as the total. They may
    // come before the total is known.
    virtual void updateDownloadedSize(unsigned int bytes) = 0;

protected:
    ~ILumFuzzyWindowManager() = default; // destroyLumFuzzyWindow destroys it
};

// A manager without a window as yet. The delegate is not owned and must live until destroyLumFuzzyWindow. Null when the
// delegate is null or memory is short.
extern "C" LUM_FUZZY_EXPORT ILumFuzzyWindowManager *createLumFuzzyWindow(ILumFuzzyWindowDelegate *delegate);

// Puts the window away, as stop() does, and destroys the manager. Nothing for null.
extern "C" LUM_FUZZY_EXPORT void destroyLumFuzzyWindow(ILumFuzzyWindowManager *manager);

// NOLINTEND(readability-identifier-naming)
