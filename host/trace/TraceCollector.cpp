#include "host/trace/TraceCollector.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "base/Text.h"

namespace lumhost {

namespace {

constexpr std::string_view kBetween = "%0A";
constexpr int kWarning = 2;

// Cuts to at most `size` bytes, neither within an encoded byte nor within an encoded character.
void CutEncoded(std::string &text, std::size_t size) {
    if (text.size() <= size) {
        return;
    }
    std::size_t end = size;
    for (std::size_t back = 1; back <= 2 && back <= end; ++back) {
        if (text[end - back] == '%') {
            end -= back;
            break;
        }
    }
    // "%8." to "%B." go on with a character that began further in front.
    const auto continues = [&](std::size_t at) {
        return at + 2 < text.size() && text[at] == '%' &&
               (text[at + 1] == '8' || text[at + 1] == '9' || text[at + 1] == 'A' || text[at + 1] == 'B');
    };
    while (end >= 3 && continues(end)) {
        end -= 3;
    }
    text.resize(end);
}

// The extension traces its own requests to the log at warning level. The log knows of them, and a request that
// reported the one before it would grow each time.
bool IsAboutTheLog(std::string_view text) {
    return text.starts_with("CLumExtension::SaveMsgLogToUrl,") ||
           text.starts_with("CLumExtension::WriteErrorLog,Begin,");
}

} // namespace

std::string FormatLine(const TraceLine &line) {
    constexpr std::array<const char *, 4> kLevels = {"debug", "info", "warning", "error"};
    const std::time_t seconds = std::chrono::system_clock::to_time_t(line.time);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(line.time.time_since_epoch()).count() % 1000;
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 64> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::array<char, 16> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%03dZ ", static_cast<int>(milliseconds));
    const char *level = line.level >= 0 && line.level < 4 ? kLevels[line.level] : "other";
    return std::string(date.data()) + fraction.data() + level + " " + base::OneLine(line.text);
}

void TraceCollector::Listen(Listener listener) {
    const std::scoped_lock lock(m_lock);
    m_listeners.push_back(std::move(listener));
}

void TraceCollector::Add(int level, std::string text) {
    const TraceLine line{std::chrono::system_clock::now(), level, std::move(text)};
    const std::scoped_lock lock(m_lock);
    if (level >= kWarning && !IsAboutTheLog(line.text)) {
        std::string warning = base::PercentEncode(base::OneLine(m_hide ? m_hide(line.text) : line.text));
        CutEncoded(warning, kLongestAnswer);
        m_size += warning.size() + kBetween.size();
        m_warnings.push_back(std::move(warning));
        while (m_warnings.size() > 1 && m_size - kBetween.size() > kLongestAnswer) {
            m_size -= m_warnings.front().size() + kBetween.size();
            m_warnings.pop_front();
        }
    }
    for (const Listener &listener : m_listeners) {
        listener(line);
    }
}

std::string TraceCollector::Warnings() const {
    const std::scoped_lock lock(m_lock);
    std::string answer;
    for (const std::string &warning : m_warnings) {
        answer += (answer.empty() ? std::string_view() : kBetween);
        answer += warning;
    }
    return answer;
}

void TraceCollector::ResetWarnings() {
    const std::scoped_lock lock(m_lock);
    m_warnings.clear();
    m_size = 0;
}

} // namespace lumhost
