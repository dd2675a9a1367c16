#include <cstdarg>
#include <cstdio>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#import "base/objc/ScopedPool.h"

namespace {

constexpr std::size_t kTraceSize = 4096;

enum TraceLevel { kDebug = 0, kInfo = 1, kWarn = 2, kError = 3 };

void Post(NSString *content, TraceLevel level) {
    NSMutableDictionary *info = [NSMutableDictionary dictionaryWithCapacity:3];
    [info setObject:content forKey:@"ContentKey"];
    [info setObject:@"LUMExt" forKey:@"ModuleKey"];
    // The listener's spelling, unlike the other two.
    [info setObject:[NSNumber numberWithInt:level] forKey:@"Levelkey"];
    [[NSNotificationCenter defaultCenter] postNotificationName:@"TRACENOTIFICATIONNotification"
                                                        object:nil
                                                      userInfo:info];
}

void Trace(TraceLevel level, const char *format, va_list arguments) noexcept {
    const base::ScopedPool pool;
    char text[kTraceSize] = {};
    vsnprintf(text, sizeof text, format, arguments);
    NSString *content = [NSString stringWithUTF8String:text];
    if (!content) {
        return; // not UTF-8, perhaps because a character was cut in two at the end of the buffer
    }
    try {
        Post(content, level);
    } catch (...) { // an observer's exception of either language is not the traced code's concern
    }
}

} // namespace

void MacDebugTrace(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Trace(kDebug, format, arguments);
    va_end(arguments);
}

void MacInfoTrace(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Trace(kInfo, format, arguments);
    va_end(arguments);
}

void MacWarnTrace(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Trace(kWarn, format, arguments);
    va_end(arguments);
}

void MacErrorTrace(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Trace(kError, format, arguments);
    va_end(arguments);
}

void TraceAssertionFailure(const char *expression, const char *file, int line) {
    char text[kTraceSize] = {};
    snprintf(text, sizeof text, "ASSERT %s failed at file %s, line %d\r\n", expression, file, line);
    // The finished line is the format of the trace: this second formatting is expected of assertion lines. The pointer
    // says that it is meant, where the compiler would warn of a format that is not a literal.
    void (*const trace)(const char *, ...) = MacErrorTrace;
    trace(text);
}
