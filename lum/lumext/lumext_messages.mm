// Messages to the user and requests to the site's logging URL.
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <ctime>

#import <Foundation/Foundation.h>

#include "lum/common/Assertion.h"
#include "lum/common/FormatCheck.h"
#include "lum/common/lumutil.h"
#include "lum/lumext/Guard.h"
#include "lum/lumext/lumext.h"
#include "lum/lumext/TraceLines.h"

namespace {

constexpr SourceUnit kSource("lum/lumext/lumext");
constexpr std::size_t kMessageSize = 4096;
constexpr char kNoWarnings[] = "no%20error";
constexpr char kDownloadTimeCode[] = "1106";

// The English text of a message, null for an id that has none.
const char *EnglishText(int number) {
    if (number > 7000 && number < 7012) {
        return LUM_TEXT_FAILURE_FILE;
    }
    switch (number) {
    case 1:
    case 2:
    case 5:
    case 23:
        return LUM_TEXT_FAILURE;
    case 6:
        return LUM_TEXT_FAILURE_URL;
    case 7:
    case 15:
    case 17:
    case 18:
        return LUM_TEXT_FAILURE_FILE;
    case 24:
        return LUM_TEXT_SECOND_MEETING;
    default:
        return nullptr;
    }
}

// What the trace collector of the host's process has kept of warnings, ready for a URL.
std::string CollectedWarnings() {
    NSMutableDictionary *query = [NSMutableDictionary dictionaryWithObject:[NSNumber numberWithBool:YES]
                                                                    forKey:@"RESETTRACES"];
    [[NSNotificationCenter defaultCenter] postNotificationName:@"QUERYWARINGMESSAGENOTIFICTION"
                                                        object:nil
                                                      userInfo:query];
    id warnings = [query objectForKey:@"QUERYTRACESKEY"];
    const char *text = [warnings isKindOfClass:[NSString class]] ? [warnings UTF8String] : nullptr;
    return text && *text ? text : kNoWarnings;
}

} // namespace

const char *CLumExtension::GetLogParameters(LogParameters &parameters) const {
    const std::array<std::pair<const char *, std::string *>, 3> wanted{
        {{"LoggingURL", &parameters.url}, {"MeetingID", &parameters.meeting}, {"SessionID", &parameters.session}}};
    for (const auto &[name, place] : wanted) {
        std::optional<std::string> value = Services().GetParameter(name);
        if (!value) {
            return name;
        }
        *place = std::move(*value);
    }
    return nullptr;
}

bool CLumExtension::WriteErrorLog(std::int32_t code, const char *optInfo) {
    MacWarnTrace(LUM_TRACE_REPORTS, code);
    std::string warnings = kNoWarnings;
    Catching([&] { warnings = CollectedWarnings(); }); // the collector is the host's
    LogParameters parameters;
    if (const char *missing = GetLogParameters(parameters)) {
        MacErrorTrace("CLumExtension::WriteErrorLog,End,%s is nil!", missing);
        return false;
    }
    MacInfoTrace("CLumExtension::WriteErrorLog,JMF parameters: %s,%s,%s", parameters.url.c_str(),
                 parameters.meeting.c_str(), parameters.session.c_str());
    const auto exception = Catching([&] {
        std::string tail = "ConfID=" + parameters.meeting + "&SessionID=" + parameters.session +
                           "&Module=1&" LUM_LOG_CODE "=" + std::to_string(code);
        if (optInfo) {
            tail += std::string("&OptInfo1=") + optInfo;
        }
        tail += "&OptInfo3=" + warnings;

        std::string url = parameters.url;
        const bool hasQuery = url.find('?') != std::string::npos;
        const char last = url.empty() ? '\0' : url.back();
        if (!hasQuery && last == '&') {
            MacErrorTrace("CLumExtension::WriteErrorLog,LoggingURL is not right!");
        } else if (!hasQuery) {
            url += "?" + tail;
        } else if (last == '&' || last == '?') {
            url += tail;
        } else {
            url += "&" + tail;
        }
        const bool saved = SaveMsgLogToUrl(url.c_str(), nullptr);
        MacInfoTrace("CLumExtension::WriteErrorLog,End,Save the error message log to [%s] is [%s]", url.c_str(),
                     saved ? "successful" : "failed");
    });
    if (exception) {
        MacErrorTrace("CLumExtension::WriteErrorLog,End,Write Log to server fails!");
    }
    return !exception;
}

bool CLumExtension::WriteErrorLogForReportDownloadTime() {
    MacInfoTrace("CLumExtension::WriteErrorLogForReportDownloadTime,Begin");
    LogParameters parameters;
    if (GetLogParameters(parameters)) {
        MacErrorTrace("CLumExtension::WriteErrorLogForReportDownloadTime,End,LoggingURL/MeetingID/SessionID is nil!");
        return false;
    }
    MacInfoTrace("CLumExtension::WriteErrorLogForReportDownloadTime,JMF parameters: %s,%s,%s", parameters.url.c_str(),
                 parameters.meeting.c_str(), parameters.session.c_str());
    const auto exception = Catching([&] {
        // Joined with "&" whatever the form of the logging URL, unlike the other report: sites rely on it.
        const std::string url =
            parameters.url + "&ConfID=" + parameters.meeting + "&SessionID=" + parameters.session +
            "&Module=1&" LUM_LOG_CODE "=" + kDownloadTimeCode + "&OptInfo3=" + GetGMTTimeForLogEvent() +
            "&RefNum4=" + std::to_string(m_dwDownloadTotalSize) + "&RefNum5=" + std::to_string(m_dwDownloadStartTick);
        SaveMsgLogToUrl(url.c_str(), nullptr);
        MacInfoTrace("CLumExtension::WriteErrorLogForReportDownloadTime,End");
    });
    if (exception) {
        MacErrorTrace("CLumExtension::WriteErrorLogForReportDownloadTime,End,Write Log to server fails!");
    }
    return !exception;
}

std::string CLumExtension::GetGMTTimeForLogEvent() {
    constexpr std::size_t kFullLength = 21; // date, time and at least the "+" of the zone
    constexpr std::size_t kKept = 20;       // through the "-" after the seconds
    timeval now{};
    gettimeofday(&now, nullptr);
    std::tm utc{};
    gmtime_r(&now.tv_sec, &utc);
    char text[64];
    std::string time(text, std::strftime(text, sizeof text, "%Y-%m-%d-%H:%M:%S-%z", &utc));
    if (time.size() >= kFullLength) {
        time.resize(kKept);
        time += std::to_string(now.tv_usec / 1000);
    }
    MacInfoTrace("CLumExtension::GetGMTTimeForLogEvent,GMTTime:%s", time.c_str());
    return time;
}

bool CLumExtension::SaveMsgLogToUrl(const char *lpszUrl, void *) {
    if (!lpszUrl) {
        return false;
    }
    MacWarnTrace("CLumExtension::SaveMsgLogToUrl,lpszUrl=%s", lpszUrl);
    Services().OpenURL(nullptr, lpszUrl);
    return true;
}

std::string CLumExtension::LoadResourceString(int nResourceId) {
    const char *english = EnglishText(nResourceId);
    if (!AssertionHolds(english != nullptr, "FALSE", kSource)) {
        return {};
    }
    const std::optional<std::string> language = Services().GetParameter("lumlocalsetting");
    NSString *translated =
        LocalizedText(ExtensionBundle(), TextOrNull(language), [NSString stringWithUTF8String:english]);
    const char *format = [translated UTF8String];
    std::string text = format ? format : "";
    if (text.empty() || !TakesSameArguments(text, english)) {
        MacErrorTrace("invalid format string in file[%s], line[%d], nResourceId[%d]", kSource.path(), __LINE__,
                      nResourceId);
        return {};
    }
    replaceall(text, "%d", std::to_string(nResourceId));
    return text;
}

void CLumExtension::ShowMessage(int nResourceId, ...) {
    MacWarnTrace(LUM_TRACE_SHOWS_MESSAGE, nResourceId);
    const std::string format = LoadResourceString(nResourceId);
    char text[kMessageSize];
    if (format.empty()) {
        MacWarnTrace("CLumExtension::ShowMessage,can not load resource string!");
        std::snprintf(text, sizeof text, "%d", nResourceId);
    } else {
        va_list arguments;
        va_start(arguments, nResourceId);
        std::vsnprintf(text, sizeof text, format.c_str(), arguments);
        va_end(arguments);
    }
    WriteErrorLog(nResourceId, nullptr);
    MacWarnTrace("CLumExtension::ShowMessage = %s", text);
    Services().ShowMessage(text);
}
