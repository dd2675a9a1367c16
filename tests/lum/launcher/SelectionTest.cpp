#include <gtest/gtest.h>

#include <string>

#include "lum/launcher/CPluginView.h"
#include "tests/support/LumFixture.h"

namespace {

struct Selection {
    bool found;
    std::string name;
    std::string path;
    bool operator==(const Selection &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Selection &selection) {
    return stream << (selection.found ? "found " : "not found ") << selection.name << " at " << selection.path;
}

class Selecting : public testing::Test, protected LumFixture {
protected:
    Selection Select(const std::string &path) {
        Selection selection{false, "(name)", "(path)"};
        selection.found = extension.m_pluginView.GetMainComponant(path, selection.name, selection.path);
        return selection;
    }
};

TEST_F(Selecting, FollowsTheTable) {
    struct Case {
        std::string component;
        std::string name;
        std::string path;
    };
    const Case cases[] = {
        {"/A b/confshell.bundle", "Meeting Hall", "/A b/Meeting Hall.app/Contents/MacOS/Meeting Hall"},
        {"/A/klvmgrmh.bundle", "Meeting Hall", "/A/Meeting Hall.app/Contents:MacOS/Meeting Hall"},
        {"/A/Remly Client.app", "Remly Client", "/A/Remly Client.app/Contents/MacOS/Remly Client"},
        {"/A/Remly Process Manager.app", "Remly Process Manager",
         "/A/Remly Process Manager.app/Contents/MacOS/Remly Process Manager"},
        // The earlier row decides, and loses every occurrence of its key.
        {"/confshell.bundle/replayview.bundle/confshell.bundle", "Meeting Hall",
         "//replayview.bundle/Meeting Hall.app/Contents/MacOS/Meeting Hall"},
        {"/replayview.bundle/klvmgrch.bundle", "Class Hall",
         "/replayview.bundle/Class Hall.app/Contents/MacOS/Class Hall"},
        {"rmtshell.bundle", "rmtagent", "rmtagent.app/Contents/MacOS/rmtagent"},
        {"/A/xconfshell.bundle/b", "Meeting Hall", "/A/x/bMeeting Hall.app/Contents/MacOS/Meeting Hall"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(Select(c.component), (Selection{true, c.name, c.path}));
    }
}

TEST_F(Selecting, RefusesWhatTheTableDoesNotHave) {
    EXPECT_EQ(Select(""), (Selection{false, "(name)", "(path)"}));
    for (const char *path : {"/A/Confshell.bundle", "/A/confshell.bundl", "/A/Remly client.app", "/"}) {
        EXPECT_EQ(Select(path), (Selection{false, "(name)", path}));
    }
}

TEST_F(Selecting, TakesTheJoinApplicationByABitOfTheSiteConfiguration) {
    const auto meeting = [this](const char *value) {
        host.parameters["ParmSiteConfigExt_Value"] = value;
        EXPECT_EQ(Select("/A/klvmgrmh.bundle").name, "Meeting Hall");
        return Select("/A/confshell.bundle").name;
    };
    for (const char *value : {"16384", "49152", " +16384;x", "-16384", "-1", "99999999999999999999"}) {
        EXPECT_EQ(meeting(value), "Kelvo Join") << value;
    }
    for (const char *value : {"16383", "32768", "0x4000", "x16384", ""}) {
        EXPECT_EQ(meeting(value), "Meeting Hall") << value;
    }
    host.parameters["ParmSiteConfigExt_Value"] = "16384";
    EXPECT_EQ(Select("/A/confshell.bundle").path, "/A/Kelvo Join.app/Contents/MacOS/Kelvo Join");
    extension.m_pLUMInterface = nullptr;
    EXPECT_EQ(Select("/A/confshell.bundle").name, "Meeting Hall");
}

// A component that is loaded into the process.
struct LoadedComponent {
    static inline CPluginView *closed = nullptr;
    static inline _NPWindow *window = nullptr;
    static inline int events = 0;

    static int Close(CPluginView *view) {
        closed = view;
        return 0;
    }
    static int HandleEvent(EventRecord *event, unsigned char flag) {
        ++events;
        return 0x700 + event->what + flag;
    }
    static int SetPort(_NPWindow *port) {
        window = port;
        return 5;
    }

    static void FillIn(CPluginView &view) {
        view.mpfnNPTable = {Close, Close, HandleEvent, SetPort, Close};
        closed = nullptr;
    }
};

bool IsEmpty(const __QXNP_FuncTable &table) {
    return !table.pfnQXNP_Open && !table.pfnQXNP_Close && !table.pfnQXNP_HandleEvent && !table.pfnQXNP_SetPort &&
           !table.pfnQXNP_LUMCallBack;
}

using View = Selecting;

TEST_F(View, HandsWindowAndEventsToALoadedComponent) {
    int place = 0;
    auto *window = reinterpret_cast<_NPWindow *>(&place);
    EventRecord event = {};
    event.what = 0x20;
    CPluginView &view = extension.m_pluginView;
    EXPECT_TRUE(IsEmpty(view.mpfnNPTable));
    EXPECT_EQ(view.SetWindow(window), 0);
    EXPECT_EQ(view.mNetscapeWindow, window);

    extension.m_bSuppressInstallation = 1;
    EXPECT_EQ(view.Handle_Event(event, 1), 0) << "no component";
    LoadedComponent::FillIn(view);
    EXPECT_EQ(view.Handle_Event(event, 1), 0x21) << "cut to a byte";
    extension.m_bSuppressInstallation = 0;
    EXPECT_EQ(view.Handle_Event(event, 1), 0);
    extension.m_bSuppressInstallation = 1;
    EXPECT_EQ(view.SetWindow(nullptr), 0);
    EXPECT_EQ(view.Handle_Event(event, 1), 0) << "no window";
    view.SetWindow(window);
    EXPECT_EQ(LoadedComponent::window, window);
    EXPECT_EQ(LoadedComponent::events, 1);
}

TEST_F(View, ClosesALoadedComponent) {
    LoadedComponent::FillIn(extension.m_pluginView);
    EXPECT_TRUE(extension.m_pluginView.UnloadMainComponant());
    EXPECT_EQ(LoadedComponent::closed, &extension.m_pluginView);
    EXPECT_TRUE(IsEmpty(extension.m_pluginView.mpfnNPTable));
    LoadedComponent::closed = nullptr;
    EXPECT_TRUE(extension.m_pluginView.UnloadMainComponant());
    EXPECT_EQ(LoadedComponent::closed, nullptr) << "there is nothing left to close";

    for (const bool isSuppressed : {false, true}) {
        extension.m_bSuppressInstallation = isSuppressed;
        {
            CPluginView view(&extension);
            LoadedComponent::FillIn(view);
        }
        EXPECT_EQ(LoadedComponent::closed != nullptr, isSuppressed);
    }
}

TEST_F(View, DoesWithoutAnOwner) {
    CPluginView view(nullptr);
    EventRecord event = {};
    int place = 0;
    LoadedComponent::FillIn(view);
    view.SetWindow(reinterpret_cast<_NPWindow *>(&place));
    EXPECT_EQ(view.Handle_Event(event, 0), 0);
    std::string name;
    std::string path;
    EXPECT_TRUE(view.GetMainComponant("/A/confshell.bundle", name, path));
    EXPECT_EQ(name, "Meeting Hall");
    EXPECT_FALSE(view.LoadMainComponant(nullptr));
    EXPECT_FALSE(view.LoadMainComponant("/A/replayview.bundle")) << "there is no recording's address";
    view.SetComponantAsFrontProcess();
}

} // namespace
