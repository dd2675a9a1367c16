#include "lum/lumext/meetingalert.h"

#import <AppKit/AppKit.h>

#include "lum/common/lumutil.h"
#include "lum/platform/session.h"

namespace {

NSString *Text(const char *languageId, NSString *key) {
    return LocalizedText(ExtensionBundle(), languageId, key);
}

NSString *const kMessage = @"You already have one meeting in progress.";
NSString *const kInformative = @"You can start or join a new meeting after you leave the previous meeting.";

} // namespace

bool ShowTooManyMeetingsAlert(const char *languageId) {
    if (!IsWindowServerAvailable()) {
        return false;
    }
    [NSApplication sharedApplication];
    NSAlert *alert = [NSAlert alertWithMessageText:Text(languageId, kMessage)
                                     defaultButton:Text(languageId, @"OK")
                                   alternateButton:nil
                                       otherButton:nil
                         informativeTextWithFormat:@"%@", Text(languageId, kInformative)];
    NSString *iconPath = [ExtensionBundle() pathForResource:@"warninglogo" ofType:@"png"];
    NSImage *icon = iconPath ? [[[NSImage alloc] initWithContentsOfFile:iconPath] autorelease] : nil;
    if (icon) {
        [alert setIcon:icon];
    }
    [[alert window] setTitle:Text(languageId, @"Too Many Meetings")];
    [alert runModal];
    return true;
}

std::string TooManyMeetingsText(const char *languageId) {
    NSString *text = [NSString stringWithFormat:@"%@ %@", Text(languageId, kMessage), Text(languageId, kInformative)];
    return [text UTF8String];
}
