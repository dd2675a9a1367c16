#include "host/trace/TraceObserver.h"

#import <Foundation/Foundation.h>

#import "base/objc/SessionNotifications.h"

namespace {

// In a structure, because the compiler cannot write down the members of these classes for the runtime.
struct Listeners {
    lumhost::TraceCollector *collector;
    const lumhost::TraceObserver::SessionEvents *events;
};

} // namespace

@interface LUMHostTraceObserver : NSObject {
@public
    Listeners listeners;
}
- (void)trace:(NSNotification *)notification;
- (void)query:(NSNotification *)notification;
- (void)willLaunch:(NSNotification *)notification;
- (void)launched:(NSNotification *)notification;
@end

@implementation LUMHostTraceObserver

- (void)trace:(NSNotification *)notification {
    NSDictionary *info = [notification userInfo];
    const char *text = [[info objectForKey:@"ContentKey"] UTF8String];
    if (text) {
        listeners.collector->Add([[info objectForKey:@"Levelkey"] intValue], text);
    }
}

- (void)query:(NSNotification *)notification {
    NSDictionary *info = [notification userInfo];
    if (![info isKindOfClass:[NSMutableDictionary class]]) {
        return;
    }
    const std::string warnings = listeners.collector->Warnings();
    if (!warnings.empty()) {
        [(NSMutableDictionary *)info setObject:[NSString stringWithUTF8String:warnings.c_str()]
                                        forKey:@"QUERYTRACESKEY"];
    }
    if ([[info objectForKey:@"RESETTRACES"] boolValue]) {
        listeners.collector->ResetWarnings();
    }
}

- (void)willLaunch:(NSNotification *)notification {
    (void)notification;
    listeners.events->willLaunch();
}

- (void)launched:(NSNotification *)notification {
    id pid = [[notification userInfo] objectForKey:@"kKLVMeetingProcessIDKey"];
    if ([pid isKindOfClass:[NSNumber class]]) {
        listeners.events->launched([pid intValue]);
    }
}

@end

namespace lumhost {

namespace {

TraceCollector *g_logged = nullptr;
NSLog_printf_handler *g_handlerBefore = nullptr;

// The libraries' log does not concern the user: mostly complaints about window managers.
void TakeLog(NSString *text) {
    const char *line = [text UTF8String];
    if (line && g_logged) {
        g_logged->Add(0, line);
    }
}

} // namespace

TraceObserver::TraceObserver(TraceCollector &collector, SessionEvents events) : m_events(std::move(events)) {
    LUMHostTraceObserver *observer = [LUMHostTraceObserver new];
    observer->listeners = {&collector, &m_events};
    g_logged = &collector;
    g_handlerBefore = _NSLog_printf_handler;
    _NSLog_printf_handler = TakeLog;
    NSNotificationCenter *local = [NSNotificationCenter defaultCenter];
    [local addObserver:observer selector:@selector(trace:) name:@"TRACENOTIFICATIONNotification" object:nil];
    [local addObserver:observer selector:@selector(query:) name:@"QUERYWARINGMESSAGENOTIFICTION" object:nil];
    // Without a daemon nothing comes from the session; the traces say the same.
    base::WithSessionNotifications([observer](NSDistributedNotificationCenter *session) {
        [session addObserver:observer selector:@selector(willLaunch:) name:@"KelvoLumWillLaunchApplication" object:nil];
        [session addObserver:observer selector:@selector(launched:) name:@"KLVMeetingLaunchedNotification" object:nil];
    });
    m_observer = observer;
}

TraceObserver::~TraceObserver() {
    _NSLog_printf_handler = g_handlerBefore;
    g_logged = nullptr;
    id observer = static_cast<id>(m_observer);
    [[NSNotificationCenter defaultCenter] removeObserver:observer];
    base::WithSessionNotifications(
        [observer](NSDistributedNotificationCenter *session) { [session removeObserver:observer]; });
    [observer release];
}

} // namespace lumhost
