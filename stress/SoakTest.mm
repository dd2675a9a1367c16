// Many page instances in one process, as a browser sees them in its days: nothing may pile up.
//
// The streams that the hash functions leave open are the exception; they are counted by the files that they read.
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#import <Foundation/Foundation.h>
#import <objc/runtime.h>

#import "base/objc/ScopedPool.h"
#include "lum/lumext/lumextInterface.h"
#include "tests/support/FakeHost.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestSite.h"

namespace {

constexpr int kWarmUp = 200;
constexpr long kHeapSlack = 32; // bytes for each instance; no object is that small and piles up unseen

// SOAK_INSTANCES in the environment, or 2000.
int Instances() {
    const char *text = std::getenv("SOAK_INSTANCES");
    return std::max(1, text ? std::atoi(text) : 2000);
}

constexpr long kResidentSlack = 2 << 10; // kB
#ifdef __SANITIZE_ADDRESS__
constexpr bool kMemoryTells = false; // freed blocks are kept back; the leak checker looks instead
#else
constexpr bool kMemoryTells = true;
#endif

// The observers, in the default and the distributed centre: once for every registration.
std::multiset<void *> g_observers;

template <typename Function> Function Replace(Class owner, SEL selector, Function with) {
    using Any = void (*)(); // says to the compiler that the change of type is meant
    const Method method = class_getInstanceMethod(owner, selector);
    const auto before = reinterpret_cast<Function>(reinterpret_cast<Any>(method_getImplementation(method)));
    class_replaceMethod(owner, selector, reinterpret_cast<IMP>(reinterpret_cast<Any>(with)),
                        method_getTypeEncoding(method));
    return before;
}

using Add = void (*)(id, SEL, id, SEL, NSString *, id);
using AddDistributed = void (*)(id, SEL, id, SEL, NSString *, NSString *, NSNotificationSuspensionBehavior);
using Remove = void (*)(id, SEL, id, NSString *, id);
Add g_addBefore;
AddDistributed g_addDistributedBefore;
Remove g_removeBefore, g_removeDistributedBefore;

void Forget(id observer, NSString *name) {
    if (!name) {
        g_observers.erase(observer);
    } else if (const auto found = g_observers.find(observer); found != g_observers.end()) {
        g_observers.erase(found);
    }
}

// -removeObserver: and the shorter forms of the distributed centre come down to these.
void CountObservers() {
    Class local = [NSNotificationCenter class];
    Class distributed = [NSDistributedNotificationCenter class];
    g_removeDistributedBefore = Replace<Remove>(distributed, @selector(removeObserver:name:object:),
                                                [](id self, SEL sel, id observer, NSString *name, id object) {
                                                    Forget(observer, name);
                                                    g_removeDistributedBefore(self, sel, observer, name, object);
                                                });
    g_addDistributedBefore =
        Replace<AddDistributed>(distributed, @selector(addObserver:selector:name:object:suspensionBehavior:),
                                [](id self, SEL sel, id observer, SEL action, NSString *name, NSString *object,
                                   NSNotificationSuspensionBehavior behavior) {
                                    g_observers.insert(observer);
                                    g_addDistributedBefore(self, sel, observer, action, name, object, behavior);
                                });
    g_addBefore = Replace<Add>(local, @selector(addObserver:selector:name:object:),
                               [](id self, SEL sel, id observer, SEL action, NSString *name, id object) {
                                   g_observers.insert(observer);
                                   g_addBefore(self, sel, observer, action, name, object);
                               });
    g_removeBefore = Replace<Remove>(local, @selector(removeObserver:name:object:),
                                     [](id self, SEL sel, id observer, NSString *name, id object) {
                                         Forget(observer, name);
                                         g_removeBefore(self, sel, observer, name, object);
                                     });
}

// What the process holds at one moment.
struct Holdings {
    long resident = 0; // kB
    long allocated = 0;
    long streams = 0;
    long descriptors = 0; // without the streams
    std::size_t observers = 0;
};

long AllocatedBytes() {
    const struct mallinfo2 heap = mallinfo2();
    return static_cast<long>(heap.uordblks + heap.hblkhd);
}

// What an open stream takes before it reads, and its place in the list of them (which grows by doubling). The first
// ones may be given blocks that were freed before, which tells nothing.
long BytesOfStream() {
    constexpr int kFirst = 50;
    constexpr int kCounted = 200;
    std::vector<std::FILE *> streams(kFirst + kCounted);
    long before = 0;
    for (int i = 0; i < kFirst + kCounted; ++i) {
        before = i == kFirst ? AllocatedBytes() : before;
        streams[i] = std::fopen("/dev/null", "r");
    }
    const long bytes = (AllocatedBytes() - before) / kCounted;
    for (std::FILE *stream : streams) {
        std::fclose(stream);
    }
    return bytes + 2 * static_cast<long>(sizeof(std::FILE *));
}

long ResidentKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            return std::stol(line.substr(6));
        }
    }
    return 0;
}

bool IsStream(const TempDir &site, const std::filesystem::path &descriptor) {
    std::error_code error;
    const std::string target = std::filesystem::read_symlink(descriptor, error).string();
    return target.starts_with(site.path().string()) || target.find("lummac.ini") != target.npos;
}

Holdings Look(const TempDir &site) {
    Holdings now;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        ++(IsStream(site, entry.path()) ? now.streams : now.descriptors);
    }
    now.allocated = AllocatedBytes();
    now.resident = ResidentKilobytes();
    now.observers = g_observers.size();
    return now;
}

// A site of one package, which every page fetches.
struct Site {
    TempDir dir;
    SiteIdentity identity = TestSite::MakeIdentity(dir, "www.kelvo.example");
    std::string package = dir.Write("confshell.bundle", std::string(20000, 'x'));
    std::string instructions =
        dir.Write("lummac.ini",
                  "[Kelvo]\nCount=1\nFile1=" +
                      TestSite::ItemLine(identity, {.name = "confshell.bundle", .update = "always"}, package) + "\n");
};

// A page from its opening to its closing; what it showed instead when it was not sent on.
testing::AssertionResult Visit(const Site &site) {
    const base::ScopedPool pool;
    FakeHost host;
    host.parameters = {{"LumUrlRoot", "http://site.example"}, {"LumComponentName", "confshell.bundle"},
                       {"LumDownloadOnly", "TRUE"},           {"szNextUrl", "http://next.example"},
                       {"LumProductVersion", "2.4"},          {"lumcertification", site.identity.certification}};
    host.EnableLog();
    void *component = nullptr;
    LumInitInstance(&host, &host.table, &component);
    host.RequestFor("/lummac.ini").Done(site.instructions.c_str());
    host.RequestFor("/confshell.bundle").Progress(20000);
    host.RequestFor("/confshell.bundle").Done(site.package.c_str());
    LumHeartbeat(&host, component);
    LumHeartbeat(&host, component);
    LumExitInstance(&host, component);
    const bool sentOn = host.PageNavigations().size() == 1 && host.installs.size() == 1;
    testing::AssertionResult result = sentOn ? testing::AssertionSuccess() : testing::AssertionFailure();
    if (!sentOn) {
        result << host.PageNavigations().size() << " navigations, " << host.installs.size()
               << " installations, messages:";
        for (const std::string &message : host.messages) {
            result << " \"" << message << "\"";
        }
    }
    return result;
}

// Two streams stay open for each page: more than a process may have, in the end. Nothing reads from them any more, so
// their descriptors are taken away from time to time; the streams themselves stay, and count.
constexpr int kPagesBetween = 100;

long TakeDescriptorsOfStreams(const TempDir &site) {
    std::vector<int> taken;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        if (IsStream(site, entry.path())) {
            taken.push_back(std::stoi(entry.path().filename()));
        }
    }
    for (const int descriptor : taken) {
        close(descriptor);
    }
    return static_cast<long>(taken.size());
}

} // namespace

TEST(Soak, NothingPilesUpFromPageToPage) {
    unsetenv("DISPLAY");
    CountObservers();
    const Site site;
    const int instances = Instances();
    for (int i = 0; i < kWarmUp; ++i) {
        ASSERT_TRUE(Visit(site)) << i;
    }
    TakeDescriptorsOfStreams(site.dir);
    const Holdings before = Look(site.dir);
    long streams = 0;
    for (int i = 0; i < instances; ++i) {
        ASSERT_TRUE(Visit(site)) << i;
        if (i % kPagesBetween == 0) {
            streams += TakeDescriptorsOfStreams(site.dir);
        }
    }
    streams += TakeDescriptorsOfStreams(site.dir);
    const Holdings after = Look(site.dir);
    const long streamBytes = streams * BytesOfStream();
    const long allocated = after.allocated - before.allocated - streamBytes;
    std::printf("%d instances: resident %ld kB to %ld kB; %ld hash streams left open (%ld kB of that); heap apart from "
                "them %+ld bytes; other descriptors %ld to %ld; observers %zu to %zu\n",
                instances, before.resident, after.resident, streams, streamBytes / 1024, allocated, before.descriptors,
                after.descriptors, before.observers, after.observers);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.observers, before.observers);
    EXPECT_GT(streams, 0);
    EXPECT_EQ(streams % instances, 0);
    if (kMemoryTells) {
        EXPECT_LT(allocated, kHeapSlack * instances);
        EXPECT_LT(after.resident - before.resident - streamBytes / 1024, kResidentSlack);
    }
}
