// The one call of the Process Manager that needs the window server.
#import <Foundation/Foundation.h>

#include <ApplicationServices/ApplicationServices.h>

#include <string>

#import "base/objc/ScopedPool.h"
#include "lum/platform/linux/processes/SerialNumber.h"
#include "lum/platform/linux/windows/FrontWindow.h"
#include "lum/platform/Session.h"

namespace {

NSString *Decimal(std::uint64_t number) {
    return [NSString stringWithUTF8String:std::to_string(number).c_str()];
}

// On the target an application comes to the front whether or not it has shown a window. Here a program of the bundle
// waits for its first window, because this process may end before. False when there is no such program.
bool ActivateOnceShown(const RunningProcess &process) {
    static RunningProcess asked{};
    static int helper = 0;
    if (asked.pid == process.pid && asked.startTime == process.startTime && FindRunningProcess(helper)) {
        return true;
    }
    const base::ScopedPool pool;
    NSBundle *bundle =
        BundleWithIdentifierOrCode(@LUM_BUNDLE_IDENTIFIER, reinterpret_cast<const void *>(&ActivateOnceShown));
    NSTask *task = [[NSTask new] autorelease];
    [task setLaunchPath:[[bundle bundlePath] stringByAppendingPathComponent:@"lumfront"]];
    [task setArguments:[NSArray arrayWithObjects:Decimal(static_cast<std::uint64_t>(process.pid)),
                                                 Decimal(process.startTime), nil]];
    [task setEnvironment:EnvironmentOfNewTask(task)];
    helper = LaunchTask(task);
    asked = process;
    return helper > 0;
}

} // namespace

OSErr SetFrontProcess(const ProcessSerialNumber *psn) {
    if (!psn) {
        return paramErr;
    }
    const auto process = FindRunningProcess(*psn);
    if (!process) {
        return procNotFound;
    }
    switch (ActivateWindowOfProcess(process->pid)) {
    case Activation::Requested:
        return noErr;
    case Activation::NoWindow:
        if (ActivateOnceShown(*process)) {
            return noErr;
        }
        return appIsDaemon;
    case Activation::NoWindowServer:
        break;
    }
    return connectionInvalid;
}
