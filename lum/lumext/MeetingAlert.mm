#include "lum/lumext/MeetingAlert.h"

#import <AppKit/AppKit.h>

#include "lum/common/lumutil.h"
#include "lum/platform/Session.h"

namespace {

NSString *Text(const char *languageId, NSString *key) {
    return LocalizedText(ExtensionBundle(), languageId, key);
}

NSString *const kMessage = @"You already have one meeting in progress.";
NSString *const kInformative = @"You can start or join a new meeting after you leave the previous meeting.";

} // namespace

// Names an alert's window, which does not exist everywhere before the alert runs.
@interface LUMAlertTitle : NSObject {
    NSAlert *myAlert;
    NSString *myTitle;
}
- (id)initWithAlert:(NSAlert *)alert title:(NSString *)title;
- (void)apply;
@end

@implementation LUMAlertTitle

- (id)initWithAlert:(NSAlert *)alert title:(NSString *)title {
    if ((self = [super init])) {
        myAlert = [alert retain];
        myTitle = [title copy];
        [self apply];
        [self performSelector:@selector(apply)
                   withObject:nil
                   afterDelay:0
                      inModes:[NSArray arrayWithObject:NSModalPanelRunLoopMode]];
    }
    return self;
}

- (void)dealloc {
    [myAlert release];
    [myTitle release];
    [super dealloc];
}

- (void)apply {
    [[myAlert window] setTitle:myTitle];
}

@end

bool ShowTooManyMeetingsAlert(const char *languageId) {
    if (!IsWindowServerAvailable()) {
        return false;
    }
    [NSApplication sharedApplication];
    PreferFontsForLocalization(localizedExtNameFromLanguageID(languageId).c_str());
    NSAlert *alert = [NSAlert alertWithMessageText:Text(languageId, kMessage)
                                     defaultButton:Text(languageId, @"OK")
                                   alternateButton:nil
                                       otherButton:nil
                         informativeTextWithFormat:@"%@", Text(languageId, kInformative)];
    LUMAlertTitle *title = [[LUMAlertTitle alloc] initWithAlert:alert title:Text(languageId, @"Too Many Meetings")];
    NSString *iconPath = [ExtensionBundle() pathForResource:@"warninglogo" ofType:@"png"];
    NSImage *icon = iconPath ? [[[NSImage alloc] initWithContentsOfFile:iconPath] autorelease] : nil;
    if (icon) {
        [alert setIcon:icon];
    }
    [alert runModal];
    [NSObject cancelPreviousPerformRequestsWithTarget:title];
    [title release];
    return true;
}

std::string TooManyMeetingsText(const char *languageId) {
    NSString *text = [NSString stringWithFormat:@"%@ %@", Text(languageId, kMessage), Text(languageId, kInformative)];
    return [text UTF8String];
}
