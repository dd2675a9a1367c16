#include "host/run/Alerts.h"

#import <AppKit/AppKit.h>

#import "base/objc/ScopedPool.h"
#include "host/run/MainLoop.h"
#include "base/Text.h"

@interface LUMHostAlertTitle : NSObject {
@public
    NSAlert *alert;
    NSString *title;
}
- (void)apply;
@end

@implementation LUMHostAlertTitle
- (void)apply {
    [[alert window] setTitle:title];
}
@end

namespace lumhost {

namespace {

NSString *Text(const std::string &text) {
    NSString *string = [NSString stringWithUTF8String:text.c_str()];
    return string ? string : @"";
}

NSAlert *NewAlert(const std::string &title, const std::string &text) {
    MainLoop::StartWindows();
    NSAlert *alert = [[NSAlert alloc] init];
    [alert setMessageText:Text(title)];
    [alert setInformativeText:Text(text)];
    return alert;
}

// The alert makes its window only when it is run, so its title is set as soon as that one handles events.
NSInteger Ask(NSAlert *alert, const std::string &title) {
    LUMHostAlertTitle *later = [[LUMHostAlertTitle alloc] init];
    later->alert = alert;
    later->title = Text(title);
    [later performSelector:@selector(apply)
                withObject:nil
                afterDelay:0
                   inModes:[NSArray arrayWithObject:NSModalPanelRunLoopMode]];
    [NSApp activateIgnoringOtherApps:YES];
    const NSInteger answer = [alert runModal];
    [NSObject cancelPreviousPerformRequestsWithTarget:later];
    [later release];
    return answer;
}

} // namespace

void ShowAlert(const std::string &title, const std::string &text) {
    const base::ScopedPool pool;
    NSAlert *alert = NewAlert(title, text);
    [alert addButtonWithTitle:@"OK"];
    Ask(alert, title);
    [alert release];
}

Permission AskPermission(const std::vector<std::string> &sites) {
    const base::ScopedPool pool;
    std::string list;
    for (const std::string &site : sites) {
        list += "    " + base::OneLine(site) + "\n";
    }
    NSAlert *alert = NewAlert("Start a meeting from this page?",
                              "The page wants to install software on this computer and to start it. It comes from\n\n" +
                                  list + "\nAllow this only if you know the site.");
    // The first answer is Return's, so it is the one that does no harm.
    [alert addButtonWithTitle:@"Don't Allow"];
    [alert addButtonWithTitle:@"Allow Once"];
    [alert addButtonWithTitle:@"Always Allow"];
    const NSInteger answer = Ask(alert, "Start a meeting?");
    [alert release];
    return answer == NSAlertThirdButtonReturn    ? Permission::Always
           : answer == NSAlertSecondButtonReturn ? Permission::Once
                                                 : Permission::No;
}

} // namespace lumhost
