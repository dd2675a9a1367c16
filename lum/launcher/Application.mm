#include "lum/launcher/Application.h"

#include <Carbon/Carbon.h>

#include <cerrno>
#include <cstring>

#import <Foundation/Foundation.h>

#import "base/objc/ScopedPool.h"
#import "base/objc/SessionNotifications.h"
#include "lum/common/lumutil.h"
#include "lum/platform/Session.h"

namespace {

NSString *const kWillLaunchNotification = @"KelvoLumWillLaunchApplication";
NSString *const kHostTypeKey = @"HOSTTYPE";
constexpr SInt32 kSystemVersion10_7 = 0x1070;

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
    const bool announced = base::WithSessionNotifications([](NSDistributedNotificationCenter *session) {
        [session postNotificationName:kWillLaunchNotification object:nil];
    });
    if (!announced) { // the launch does not depend on being heard
        MacInfoTrace("CPluginView::LoadMainComponant,cannot announce the launch");
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
