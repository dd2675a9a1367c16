#import "lum/platform/linux/windows/UseTheme.h"

#import "lum/platform/linux/windows/EventQueue.h"
#import "lum/platform/linux/windows/KeepSignals.h"
#import <Foundation/Foundation.h>

extern char **environ;

void HideArguments(char **argv) {
    [NSProcessInfo initializeWithArguments:argv count:1 environment:environ];
}

void UseTheme(const char *themePath) {
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    NSMutableDictionary *settings = [NSMutableDictionary dictionary];
    [settings setObject:@"YES" forKey:@"GSSuppressAppIcon"];
    NSString *path = themePath ? [NSString stringWithUTF8String:themePath] : nil;
    if ([[NSFileManager defaultManager] fileExistsAtPath:path]) {
        [settings setObject:path forKey:@"GSTheme"];
    }
    [[NSUserDefaults standardUserDefaults] registerDefaults:settings];
    MendEventQueue();
    KeepSignals();
    [pool drain];
}
