#import "lum/platform/linux/windows/KeepSignals.h"

#import <Foundation/Foundation.h>
#import <objc/runtime.h>

#include <signal.h>

static const int kTaken[] = {SIGINT, SIGTERM};
enum { kTakenCount = sizeof kTaken / sizeof *kTaken };

typedef void (*Initialize)(id, SEL);
static Initialize originalInitialize;

static void InitializeBackend(id self, SEL selector) {
    sigset_t taken, before;
    sigemptyset(&taken);
    for (int i = 0; i < kTakenCount; ++i) {
        sigaddset(&taken, kTaken[i]);
    }
    pthread_sigmask(SIG_BLOCK, &taken, &before);
    struct sigaction actions[kTakenCount];
    for (int i = 0; i < kTakenCount; ++i) {
        sigaction(kTaken[i], NULL, &actions[i]);
    }
    originalInitialize(self, selector);
    for (int i = 0; i < kTakenCount; ++i) {
        sigaction(kTaken[i], &actions[i], NULL);
    }
    pthread_sigmask(SIG_SETMASK, &before, NULL);
}

@interface LUMBackEndWatch : NSObject
+ (void)bundleLoaded:(NSNotification *)notification;
@end

@implementation LUMBackEndWatch

+ (void)bundleLoaded:(NSNotification *)notification {
    // A class has a table of methods of its own once a message has reached it; before, the runtime would change
    // another.
    Class backEnd = [NSClassFromString(@"GSBackend") class];
    Method method = class_getClassMethod(backEnd, @selector(initializeBackend));
    if (method && !originalInitialize) {
        originalInitialize = (Initialize)method_setImplementation(method, (IMP)InitializeBackend);
    }
}

@end

void KeepSignals(void) {
    static BOOL watches = NO;
    if (!watches) {
        watches = YES;
        [[NSNotificationCenter defaultCenter] addObserver:[LUMBackEndWatch class]
                                                 selector:@selector(bundleLoaded:)
                                                     name:NSBundleDidLoadNotification
                                                   object:nil];
    }
}
