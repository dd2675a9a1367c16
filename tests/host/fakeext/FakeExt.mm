// An extension that does what the page parameter "Script" says, one step a heartbeat, and writes what happens to it
// into the file that "Record" names. Steps are separated by line breaks; those that begin with "now " run in
// LumInitInstance.
//
//   get URL           ask for a download, and wait for its end
//   start URL         the same without waiting
//   place PATH        have the next file that is downloaded installed there
//   message TEXT      with a trace of its number before, when there is one: "message 7 TEXT"
//   trace LEVEL TEXT
//   open TARGET URL   "-" for null
//   stop
//   afterstop URL     stop, then try every service
//   print TEXT        on standard output
//   hang              never to come back
//   window            a window with a button that stops, also by Return
//   warnings          record what the trace collector answers
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#import <AppKit/AppKit.h>

#import "base/objc/ScopedPool.h"
#include "lum/lumext/lumextInterface.h"

@interface FakeExtensionButton : NSButton {
@public
    void *cookie;
    tagLUMInterface *services;
}
- (void)stop:(id)sender;
@end

@implementation FakeExtensionButton
- (void)stop:(id)sender {
    (void)sender;
    services->pfnStop(cookie);
    services->pfnStop(cookie);
}
@end

namespace {

struct FakeExtension {
    void *cookie;
    tagLUMInterface *services;
    std::vector<std::string> steps;
    std::size_t next = 0;
    bool waiting = false;
    unsigned long received = 0;
    std::string place;
    std::ofstream record;
};

void Trace(int level, const std::string &text) {
    const base::ScopedPool pool;
    NSDictionary *info = [NSDictionary dictionaryWithObjectsAndKeys:[NSString stringWithUTF8String:text.c_str()],
                                                                    @"ContentKey", [NSNumber numberWithInt:level],
                                                                    @"Levelkey", @"LUMExt", @"ModuleKey", nil];
    [[NSNotificationCenter defaultCenter] postNotificationName:@"TRACENOTIFICATIONNotification"
                                                        object:nil
                                                      userInfo:info];
}

std::string Warnings() {
    const base::ScopedPool pool;
    NSMutableDictionary *info = [NSMutableDictionary dictionaryWithObject:[NSNumber numberWithBool:YES]
                                                                   forKey:@"RESETTRACES"];
    [[NSNotificationCenter defaultCenter] postNotificationName:@"QUERYWARINGMESSAGENOTIFICTION"
                                                        object:nil
                                                      userInfo:info];
    NSString *answer = [info objectForKey:@"QUERYTRACESKEY"];
    const std::string text = answer ? [answer UTF8String] : "(none)";
    return text;
}

void GetFileCallback(void *, void *context, LUMGetFileNotifyMessageType type, void *data) {
    auto *extension = static_cast<FakeExtension *>(context);
    if (type == LUMGetFileNotifyProgress) {
        extension->received += reinterpret_cast<uintptr_t>(data);
        return;
    }
    extension->waiting = false;
    extension->record << (data ? "done " : "failed ") << extension->received << std::endl;
    if (data && !extension->place.empty()) {
        const int code = extension->services->pfnInstallFile(extension->cookie, static_cast<const char *>(data),
                                                             extension->place.c_str(), extension);
        extension->record << "install " << code << std::endl;
        extension->place.clear();
    }
}

void ShowWindow(const FakeExtension &extension) {
    [NSApplication sharedApplication];
    NSWindow *window = [[NSWindow alloc] initWithContentRect:NSMakeRect(300, 300, 200, 100)
                                                   styleMask:NSTitledWindowMask
                                                     backing:NSBackingStoreBuffered
                                                       defer:NO];
    FakeExtensionButton *button = [[FakeExtensionButton alloc] initWithFrame:NSMakeRect(50, 30, 100, 40)];
    button->cookie = extension.cookie;
    button->services = extension.services;
    [button setTarget:button];
    [button setAction:@selector(stop:)];
    [button setKeyEquivalent:@"\r"];
    [[window contentView] addSubview:button];
    [window setTitle:@"Fake"];
    [NSApp activateIgnoringOtherApps:YES];
    [window makeKeyAndOrderFront:nil];
}

void TryEverything(FakeExtension &extension, const char *url) {
    const tagLUMInterface &services = *extension.services;
    services.pfnGetFile(extension.cookie, GetFileCallback, &extension, url);
    services.pfnShowMessage(extension.cookie, "after the stop");
    services.pfnOpenURL(extension.cookie, "_self", url);
    services.pfnOpenURL(extension.cookie, nullptr, url);
    extension.record << "install " << services.pfnInstallFile(extension.cookie, "/a", "/b", &extension) << std::endl;
    extension.record << "parameter " << (services.pfnGetParameter(extension.cookie, "Script") != nullptr) << std::endl;
}

void Do(FakeExtension &extension, const std::string &step) {
    std::istringstream words(step);
    std::string verb;
    std::string first;
    std::string rest;
    words >> verb >> first;
    std::getline(words >> std::ws, rest);
    const tagLUMInterface &services = *extension.services;
    if (verb == "get" || verb == "start") {
        extension.waiting = verb == "get";
        services.pfnGetFile(extension.cookie, GetFileCallback, &extension, step.substr(verb.size() + 1).c_str());
    } else if (verb == "place") {
        extension.place = step.substr(verb.size() + 1);
    } else if (verb == "message") {
        if (atoi(first.c_str()) > 0) {
            Trace(2, "CLumExtension::ShowMessage,nResourceId=" + first);
        }
        services.pfnShowMessage(extension.cookie, atoi(first.c_str()) > 0 ? rest.c_str() : step.c_str() + 8);
    } else if (verb == "trace") {
        Trace(atoi(first.c_str()), rest);
    } else if (verb == "open") {
        services.pfnOpenURL(extension.cookie, first == "-" ? nullptr : first.c_str(),
                            rest == "-" ? nullptr : rest.c_str());
    } else if (verb == "stop" || verb == "afterstop") {
        services.pfnStop(extension.cookie);
        if (verb == "afterstop") {
            TryEverything(extension, first.c_str());
        }
    } else if (verb == "print") {
        puts(step.c_str() + 6);
        fflush(stdout);
    } else if (verb == "hang") {
        extension.record << "hangs" << std::endl;
        for (;;) {
            pause();
        }
    } else if (verb == "window") {
        ShowWindow(extension);
    } else if (verb == "warnings") {
        extension.record << "warnings " << Warnings() << std::endl;
    }
}

} // namespace

uint32_t LumInitInstance(void *cookie, tagLUMInterface *services, void **ppComponent) {
    auto *extension = new FakeExtension{cookie, services, {}, 0, false, 0, {}, {}};
    const char *record = services->pfnGetParameter(cookie, "Record");
    const char *script = services->pfnGetParameter(cookie, "Script");
    extension->record.open(record ? record : "/dev/null");
    std::istringstream lines(script ? script : "");
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("now ")) {
            Do(*extension, line.substr(4));
        } else {
            extension->steps.push_back(line);
        }
    }
    *ppComponent = extension;
    return kLUMNoError;
}

uint8_t LumHandleEvent(void *, struct EventRecord *, uint8_t, void *) {
    return 0;
}

uint32_t LumSetWindow(void *, struct _NPWindow *, void *) {
    return 0;
}

void LumActionNotify(void *, uint32_t, uint32_t, void *) {}

uint32_t LumHeartbeat(void *, void *component) {
    auto &extension = *static_cast<FakeExtension *>(component);
    if (!extension.waiting && extension.next < extension.steps.size()) {
        Do(extension, extension.steps[extension.next++]);
    }
    return 0;
}

uint32_t LumExitInstance(void *, void *component) {
    auto *extension = static_cast<FakeExtension *>(component);
    extension->record << "exit" << std::endl;
    tagLUMInterface *services = extension->services;
    void *cookie = extension->cookie;
    delete extension;
    services->pfnGetParameter(cookie, "Script");
    return 0;
}
