// The launcher: chooses, starts and focuses the main application, the one that the installed components make up.
//
// The instruction file names a main component by the path of its installed bundle. A fixed table of products says which
// application beside that bundle is to be started for it, and under which name its process is found. The application is
// a process of its own: it outlives the view, the page and the container.
//
// For the whole file:
// - Main thread only. Nothing is thrown except std::bad_alloc.
// - Texts and paths are UTF-8. A null component path counts as an empty one.
// - The owner may be null: every page parameter is absent then, and no launch is reported.
#pragma once

#include <Carbon/Carbon.h>

#include <cstdint>
#include <string>

// NOLINTBEGIN(readability-identifier-naming): the names are the interface's own

class CLumExtension;
class CPluginView;
class LaunchOwner;
struct _NPWindow;

// The drawing port of a component that is loaded into the process.
struct _QXNP_Port {
    void *port; // graphics port
    std::int64_t portx;
    std::int64_t porty;
    std::int64_t x;
    std::int64_t y;
    std::uint32_t width;
    std::uint32_t height;
    struct {
        std::int16_t top;
        std::int16_t left;
        std::int16_t bottom;
        std::int16_t right;
    } clipRect;
};

// The entry points of a component that is loaded into the process. Nothing fills the table: main components run as
// processes of their own. Null entries are not called.
struct __QXNP_FuncTable {
    int (*pfnQXNP_Open)(CPluginView *view);
    int (*pfnQXNP_Close)(CPluginView *view);
    int (*pfnQXNP_HandleEvent)(EventRecord *event, unsigned char flag);
    int (*pfnQXNP_SetPort)(_NPWindow *window);
    int (*pfnQXNP_LUMCallBack)(CPluginView *view);
};

// The virtual operations keep their order.
class CPluginView {
public:
    // `owner` is not owned, and outlives the view but for the last steps of its own destructor.
    explicit CPluginView(CLumExtension *owner);
    // Closes the loaded component when the installation is suppressed. The launched application goes on.
    virtual ~CPluginView();
    // Keeps the host's window, which may be null and stays the host's, and hands it to the loaded component. Always 0.
    virtual std::int16_t SetWindow(_NPWindow *window);
    // Does nothing.
    virtual void Paint();
    // The loaded component's answer, cut to one byte. 0 without a window, without a component, and unless the
    // installation is suppressed.
    virtual unsigned char Handle_Event(EventRecord &event, unsigned char flag);
    CPluginView(const CPluginView &) = delete;
    CPluginView &operator=(const CPluginView &) = delete;

    // These do nothing. false, false, nothing, true.
    static bool Initialize();
    bool LoadProcAddress(char *name);
    void Create();
    bool CreateContentPane();

    // The application for the component's bundle: the name of its process, and the path of its executable, which need
    // not exist. False for a path in which no product of the table occurs: `executablePath` is the component's path
    // then; both are left as they are for an empty path. Asks the page parameter "ParmSiteConfigExt_Value".
    bool GetMainComponant(std::string componentPath, std::string &processName, std::string &executablePath);

    // True while a process with the application's name runs (ignoring case), whatever started it.
    bool IsMainComponantRunning(std::string componentPath);

    // Starts the application unless it runs, waits until its process can be seen, brings it to the front, and tells a
    // player what to open. Blocks until then: for about 15 s when it was started and its
    // process never appears.
    //
    // True: a process of the application's name was running a moment ago and was asked to come to the front. Whether it
    // got there, and whether it works, is not known. False: there is no such application, process or page
    // parameter; message 18 was shown, unless the path names no product or the process ended during the call.
    //
    // The owner is told of the launch in any case once a product was found and its parameters are complete, even when
    // no process appeared.
    bool LoadMainComponant(const char *componentPath);

    // Brings the application that was found by the last LoadMainComponant to the front, once: later calls do nothing
    // until the next launch.
    void SetComponantAsFrontProcess();

    // Closes the loaded component and forgets its entry points. Always true.
    bool UnloadMainComponant();

    CLumExtension *m_pExtension;
    _NPWindow *mNetscapeWindow = nullptr;
    _QXNP_Port mQXPluginPort{};
    __QXNP_FuncTable mpfnNPTable{};
    std::int32_t mSetPageFocusState = 0;
    ProcessSerialNumber *mpComponantPSN = nullptr; // owned; the application that LoadMainComponant has found

private:
    enum class Product { Application, Player, RecordingPlayer };
    enum class Focus { NotRunning, Vanished, Focused };

    static Product ProductOf(const std::string &processName);
    LaunchOwner Owner() const;
    long ProductType() const;
    void CloseLoadedComponent();
    void ForgetSerialNumber();
    void HoldSerialNumber(const ProcessSerialNumber &psn);

    bool ReadRecordAddress(std::string &address) const;
    // True when it was running already.
    bool EnsureRunning(const std::string &processName, const std::string &executablePath);
    void StartAndWait(const std::string &processName, const std::string &executablePath);
    Focus FocusProcess(const std::string &processName);
    void TellPlayerToReconnect();
    void TellPlayerToOpen(const std::string &address) const;
    void TellOwner(Product product) const;
};

// NOLINTEND(readability-identifier-naming)
