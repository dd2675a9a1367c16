// The C boundary: arguments, life cycle, and that nothing gets thrown over it.
#include <gtest/gtest.h>

#include <stdexcept>

#import <Foundation/Foundation.h>

#include "lum/lumext/lumext.h"
#include "lum/lumext/lumextInterface.h"
#include "tests/support/FakeHost.h"
#include "tests/support/TraceRecorder.h"

TEST(Interface, NullArgumentsAreToldAndTraced) {
    TraceRecorder traces;
    EXPECT_EQ(LumInitInstance(nullptr, nullptr, nullptr), 20007u);
    EXPECT_TRUE(traces.HasPart("ASSERT ppComponent failed at file lum/lumext/lumextInterface, line ", 3));
    traces.Clear();
    EXPECT_EQ(LumHandleEvent(nullptr, nullptr, 1, nullptr), 0u);
    EXPECT_EQ(LumSetWindow(nullptr, nullptr, nullptr), 20007u);
    LumActionNotify(nullptr, 1, 2, nullptr);
    EXPECT_EQ(LumHeartbeat(nullptr, nullptr), 20007u);
    EXPECT_EQ(traces.Texts(3).size(), 4u);
    for (const std::string &text : traces.Texts(3)) {
        EXPECT_EQ(text.find("ASSERT pComponent!=nil failed at file lum/lumext/lumextInterface, line "), 0u) << text;
        EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
    }
    EXPECT_EQ(LumExitInstance(nullptr, nullptr), 20007u);
    EXPECT_TRUE(traces.HasPart("ASSERT pComponent failed", 3));
}

TEST(Interface, LifeOfAnInstance) {
    TraceRecorder traces;
    FakeHost host;
    host.parameters = {{"LumComponentName", "confshell.bundle"}, {"LumUrlRoot", "http://site.example/kelvo"}};
    void *component = nullptr;
    ASSERT_EQ(LumInitInstance(&host, &host.table, &component), 0u);
    ASSERT_TRUE(component);
    ASSERT_EQ(host.requests.size(), 1u);
    EXPECT_EQ(host.requests[0].url, "http://site.example/kelvo/lummac.ini?random=0");
    EXPECT_EQ(LumSetWindow(&host, nullptr, component), 0u);
    EXPECT_EQ(LumHandleEvent(&host, nullptr, 1, component), 0u);
    traces.Clear();
    LumActionNotify(&host, 1, 2, component);
    EXPECT_TRUE(traces.traces().empty());
    EXPECT_EQ(LumHeartbeat(&host, component), 0u);
    EXPECT_EQ(LumExitInstance(&host, component), 0u);
}

TEST(Interface, NullServiceTableAndEmptySlotsAreSkipped) {
    tagLUMInterface empty{};
    for (tagLUMInterface *table : {static_cast<tagLUMInterface *>(nullptr), &empty}) {
        void *component = nullptr;
        ASSERT_EQ(LumInitInstance(nullptr, table, &component), 0u);
        ASSERT_TRUE(component);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(LumHeartbeat(nullptr, component), 0u);
        }
        CLumExtension::GetIniFileCallback(nullptr, component, LUMGetFileNotifyDone, nullptr);
        CItem item(static_cast<CLumExtension *>(component));
        CLumExtension::GetFileCallback(nullptr, &item, LUMGetFileNotifyProgress, nullptr);
        CLumExtension::GetFileCallback(nullptr, &item, LUMGetFileNotifyDone, nullptr);
        static_cast<CLumExtension *>(component)->m_installationMgr.Cancel();
        EXPECT_EQ(LumExitInstance(nullptr, component), 0u);
    }
}

TEST(Interface, ExceptionsOfTheHostsFunctionsEndAtTheBoundary) {
    TraceRecorder traces;
    FakeHost host;
    host.table.pfnGetParameter = [](void *, const char *) -> const char * { throw std::runtime_error("host broke"); };
    void *component = nullptr;
    ASSERT_EQ(LumInitInstance(&host, &host.table, &component), 0u);
    EXPECT_TRUE(traces.Has("LumInitInstance, exception: host broke", 3));
    host.table.pfnGetParameter = [](void *, const char *) -> const char * {
        [NSException raise:@"HostBroke" format:@"in Objective-C"];
        return nullptr;
    };
    EXPECT_EQ(LumHeartbeat(&host, component), 0u);
    EXPECT_TRUE(traces.Has("LumHeartbeat, exception HostBroke: in Objective-C", 3));
    EXPECT_EQ(LumExitInstance(&host, component), 0u);
}

namespace {

// A host that ends the instance from within a service.
struct LeavingHost : FakeHost {
    void Leave() {
        callsBefore = messages.size() + navigations.size() + installs.size() + static_cast<std::size_t>(stops);
        EXPECT_EQ(LumExitInstance(this, component), 0u);
        EXPECT_FALSE(traces.HasPart("CLumExtension::~CLumExtension()")) << "its call is still running";
    }
    void ExpectSilence() {
        EXPECT_EQ(messages.size() + navigations.size() + installs.size() + static_cast<std::size_t>(stops),
                  callsBefore);
        EXPECT_TRUE(traces.HasPart("CLumExtension::~CLumExtension()"));
    }
    TraceRecorder traces;
    void *component = nullptr;
    std::size_t callsBefore = 0;
};

} // namespace

TEST(Interface, AnInstanceThatEndsWithinACallGoesWhenTheCallReturns) {
    {
        LeavingHost host;
        host.EnableLog();
        host.parameters["LumComponentName"] = "part.bundle";
        host.parameters["LumUrlRoot"] = "http://site.example";
        host.table.pfnShowMessage = [](void *cookie, const char *) { static_cast<LeavingHost *>(cookie)->Leave(); };
        ASSERT_EQ(LumInitInstance(&host, &host.table, &host.component), 0u);
        host.RequestFor("lummac.ini").Done(nullptr); // message 5
        host.ExpectSilence();
    }
    LeavingHost host;
    host.EnableLog();
    host.table.pfnStop = [](void *cookie) { static_cast<LeavingHost *>(cookie)->Leave(); };
    ASSERT_EQ(LumInitInstance(&host, &host.table, &host.component), 0u);
    static_cast<CLumExtension *>(host.component)->m_installationMgr.Cancel(); // the Stop button
    host.ExpectSilence();
}

TEST(Interface, CallbacksWithoutTheirContextAreTraced) {
    TraceRecorder traces;
    CLumExtension::GetIniFileCallback(nullptr, nullptr, LUMGetFileNotifyDone, nullptr);
    EXPECT_TRUE(traces.HasPart("ASSERT pExtension failed at file lum/lumext/lumext, line", 3));
    CLumExtension::GetFileCallback(nullptr, nullptr, LUMGetFileNotifyDone, nullptr);
    EXPECT_TRUE(traces.HasPart("ASSERT pItem failed at file lum/lumext/lumext, line", 3));
    traces.Clear();
    CItem orphan(nullptr);
    CLumExtension::GetFileCallback(nullptr, &orphan, LUMGetFileNotifyDone, nullptr);
    EXPECT_TRUE(traces.HasPart("ASSERT pExtension failed at file lum/lumext/lumext, line", 3));
}
