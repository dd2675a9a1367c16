#include "lum/launcher/Application.h"

#include <Carbon/Carbon.h>

#include <cerrno>
#include <cstring>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#include "base/objc/ScopedPool.h"
#include "lum/platform/Session.h"

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

} // namespace

void AnnounceLaunch() {
    const base::ScopedPool pool;
    // The centre throws when its server is not reachable; the launch does not depend on being heard.
    if (NSException *exception = CatchObjCException(PostWillLaunch, nullptr)) {
        MacWarnTrace("CPluginView::LoadMainComponant,cannot announce the launch: %s", [[exception reason] UTF8String]);
    }
}

std::optional<int> StartApplication(const std::string &executablePath, bool hasPlaceholderWindow) {
    const base::ScopedPool pool;
    NSString *path = [NSString stringWithUTF8String:executablePath.c_str()];
    if (!path) {
        return std::nullopt;
    }
    NSTask *task = [[NSTask new] autorelease];
    [task setLaunchPath:path];
    if (IsSystemVersionAtLeast(kSystemVersion10_7)) {
        AddHostType(task);
    }
    if (hasPlaceholderWindow) {
        [task setArguments:[NSArray arrayWithObject:@"-LaunchByLUM"]];
    }
    const int pid = LaunchTask(task);
    if (pid < 0) {
        MacInfoTrace("CPluginView::LoadMainComponant,cannot launch: %s", std::strerror(errno));
        return std::nullopt;
    }
    return pid;
}
