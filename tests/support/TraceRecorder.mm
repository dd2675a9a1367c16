#import "tests/support/TraceRecorder.h"

#import <Foundation/Foundation.h>

@interface LUMTestTraceObserver : NSObject {
@public
    TraceRecorder *recorder;
}
- (void)trace:(NSNotification *)notification;
@end

@implementation LUMTestTraceObserver
- (void)trace:(NSNotification *)notification {
    NSDictionary *info = [notification userInfo];
    recorder->Add({[[info objectForKey:@"Levelkey"] intValue],
                   [[info objectForKey:@"ContentKey"] UTF8String],
                   [[info objectForKey:@"ModuleKey"] UTF8String]});
}
@end

TraceRecorder::TraceRecorder() {
    LUMTestTraceObserver *observer = [LUMTestTraceObserver new];
    observer->recorder = this;
    [[NSNotificationCenter defaultCenter] addObserver:observer
                                             selector:@selector(trace:)
                                                 name:@"TRACENOTIFICATIONNotification"
                                               object:nil];
    m_observer = observer;
}

TraceRecorder::~TraceRecorder() {
    id observer = static_cast<id>(m_observer);
    [[NSNotificationCenter defaultCenter] removeObserver:observer];
    [observer release];
}

std::vector<std::string> TraceRecorder::Texts(int level) const {
    std::vector<std::string> texts;
    for (const Trace &trace : m_traces) {
        if (trace.level == level) {
            texts.push_back(trace.text);
        }
    }
    return texts;
}

bool TraceRecorder::Has(std::string_view text, int level) const {
    for (const Trace &trace : m_traces) {
        if (trace.text == text && (level < 0 || trace.level == level)) {
            return true;
        }
    }
    return false;
}

bool TraceRecorder::HasPart(std::string_view part, int level) const {
    for (const Trace &trace : m_traces) {
        if (trace.text.find(part) != std::string::npos && (level < 0 || trace.level == level)) {
            return true;
        }
    }
    return false;
}
