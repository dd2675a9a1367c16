// The launcher: chooses, starts and focuses the main application.
#pragma once

#include <Carbon/Carbon.h>

#include <cstdint>
#include <string>

class CLumExtension;
class CPluginView;
struct _NPWindow;

struct _QXNP_Port {
    void *port;
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

struct __QXNP_FuncTable {
    int (*pfnQXNP_Open)(CPluginView *view);
    int (*pfnQXNP_Close)(CPluginView *view);
    int (*pfnQXNP_HandleEvent)(EventRecord *event, unsigned char flag);
    int (*pfnQXNP_SetPort)(_NPWindow *window);
    int (*pfnQXNP_LUMCallBack)(CPluginView *view);
};

class CPluginView {
public:
    explicit CPluginView(CLumExtension *owner);
    virtual ~CPluginView();
    virtual std::int16_t SetWindow(_NPWindow *window);
    virtual void Paint();
    virtual unsigned char Handle_Event(EventRecord &event, unsigned char flag);
    CPluginView(const CPluginView &) = delete;
    CPluginView &operator=(const CPluginView &) = delete;

    static bool Initialize();
    bool LoadProcAddress(char *name);
    void Create();
    bool CreateContentPane();

    bool GetMainComponant(std::string componentPath, std::string &processName, std::string &executablePath);
    bool IsMainComponantRunning(std::string componentPath);
    bool LoadMainComponant(const char *componentPath);
    void SetComponantAsFrontProcess();
    bool UnloadMainComponant();

    CLumExtension *m_pExtension;
    _NPWindow *mNetscapeWindow = nullptr;
    _QXNP_Port mQXPluginPort{};
    __QXNP_FuncTable mpfnNPTable{};
    std::int32_t mSetPageFocusState = 0;
    ProcessSerialNumber *mpComponantPSN = nullptr;
};
