#include "lum/launcher/application.h"

#include <Carbon/Carbon.h>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#include "lum/platform/scopedpool.h"
#include "lum/platform/session.h"

namespace {

NSString *const kWillLaunchNotification = @"KelvoLumWillLaunchApplication";
NSString *const kHostTypeKey = @"HOSTTYPE";
constexpr SInt32 kSystemVersion10_7 = 0x1070;

void PostWillLaunch(void *) {
    [[NSDistributedNotificationCenter defaultCenter] postNotificationName:kWillLaunchNotification object:nil];
}

bool IsSystemVersionAtLeast(SInt32 wanted) {
    SInt32 version = 0;
    return Gestalt(gestaltSystemVersion, &version) == noErr && version >= wanted;
}

void AddHostType(NSTask *task) {
    NSDictionary *given = EnvironmentOfNewTask(task);
    NSMutableDictionary *environment = [NSMutableDictionary dictionary];
    [environment addEntriesFromDictionary:given];
    if ([environment objectForKey:kHostTypeKey]) {
        return;
    }
    [environment setObject:@"x86_64" forKey:kHostTypeKey];
    [task setEnvironment:environment];
    MacWarnTrace("CPluginView::LoadMainComponant, current is 64bit and enviroment have no HOSTTYPE item");
}

void DetachStandardStreams(NSTask *task) {
    NSFileHandle *nothing = [NSFileHandle fileHandleWithNullDevice];
    [task setStandardInput:nothing];
    [task setStandardOutput:nothing];
    [task setStandardError:nothing];
}

struct Start {
    NSTask *task;
    NSString *executable;
    bool hasPlaceholderWindow;
};

void Launch(void *context) {
    const auto &start = *static_cast<const Start *>(context);
    [start.task setLaunchPath:start.executable];
    if (IsSystemVersionAtLeast(kSystemVersion10_7)) {
        AddHostType(start.task);
    }
    if (start.hasPlaceholderWindow) {
        [start.task setArguments:[NSArray arrayWithObject:@"-LaunchByLUM"]];
    }
    DetachStandardStreams(start.task);
    [start.task launch];
}

} // namespace

void AnnounceLaunch() {
    const ScopedPool pool;
    // Without its server the centre throws; the launch does not depend on who hears of it.
    if (NSException *exception = CatchObjCException(PostWillLaunch, nullptr)) {
        MacWarnTrace("CPluginView::LoadMainComponant,cannot announce the launch: %s", [[exception reason] UTF8String]);
    }
}

std::optional<int> StartApplication(const std::string &executablePath, bool hasPlaceholderWindow) {
    const ScopedPool pool;
    NSTask *task = [[NSTask new] autorelease];
    Start start{task, [NSString stringWithUTF8String:executablePath.c_str()], hasPlaceholderWindow};
    // A task throws when the executable is missing or cannot be run.
    if (NSException *exception = CatchObjCException(Launch, &start)) {
        MacWarnTrace("CPluginView::LoadMainComponant,cannot launch: %s", [[exception reason] UTF8String]);
        return std::nullopt;
    }
    return [task processIdentifier];
}
