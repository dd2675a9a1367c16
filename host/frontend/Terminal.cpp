#include "host/frontend/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "base/Text.h"

namespace lumhost {

namespace {

std::string TimeLeft(unsigned seconds) {
    if (seconds <= 60) {
        return "about " + std::to_string(seconds) + " s left";
    }
    const unsigned minutes = seconds / 60;
    if (minutes < 120) {
        return "about " + std::to_string(minutes) + " min left";
    }
    return "about " + std::to_string((minutes + 59) / 60) + " h left";
}

std::string Bar(int percent, int columns) {
    const int full = columns * percent / 100;
    return "[" + std::string(static_cast<std::size_t>(full), '#') +
           std::string(static_cast<std::size_t>(columns - full), ' ') + "] ";
}

std::string Sentence(State state, const std::string &detail) {
    switch (state) {
    case State::Starting:
        return "Starting";
    case State::Instructions:
        return "Asking the site what is needed";
    case State::Downloading:
        return "Downloading";
    case State::Installing:
        return "Installing " + base::OneLine(detail);
    case State::Launching:
        return "Starting the application";
    case State::Waiting:
        return "The application runs; waiting for it to join";
    }
    return {};
}

} // namespace

std::string ProgressLine(const Progress &progress, int width) {
    std::vector<std::string> parts;
    if (progress.percent) {
        std::array<char, 8> percent{};
        std::snprintf(percent.data(), percent.size(), "%3d%%", *progress.percent);
        parts.emplace_back(percent.data());
    }
    parts.push_back(base::HumanBytes(progress.received) +
                    (progress.total ? " of " + base::HumanBytes(*progress.total) : ""));
    if (progress.rate) {
        parts.push_back(base::HumanBytes(*progress.rate) + "/s");
    }
    if (progress.total && progress.received < *progress.total) {
        parts.push_back(progress.secondsLeft ? TimeLeft(*progress.secondsLeft) : "time left unknown");
    }
    std::string line;
    for (const std::string &part : parts) {
        if (static_cast<int>(line.size() + part.size()) + 2 > width) {
            break;
        }
        line += (line.empty() ? "" : "  ") + part;
    }
    constexpr int kSmallest = 10;
    const int room = std::min(40, width - static_cast<int>(line.size()) - 4);
    return progress.percent && room >= kSmallest ? Bar(*progress.percent, room) + line : line;
}

void Terminal::ClearBar() {
    if (m_bar) {
        std::fputs("\r\033[K", m_out);
        m_bar = false;
    }
}

void Terminal::Line(const std::string &text) {
    ClearBar();
    std::fprintf(m_out, "%s\n", text.c_str());
    std::fflush(m_out);
}

void Terminal::TellDownloaded() {
    if (m_last.received > m_told) {
        m_told = m_last.received;
        Line("Downloaded " + base::HumanBytes(m_last.received));
    }
}

void Terminal::OnState(State state, const std::string &detail) {
    if (state == State::Downloading) { // comes back between installations
        if (m_downloading) {
            return;
        }
        m_downloading = true;
    } else if (state == State::Launching) {
        TellDownloaded();
    }
    Line(Sentence(state, detail));
}

void Terminal::OnProgress(const Progress &progress) {
    m_last = progress;
    if (m_width <= 0) {
        return;
    }
    std::fprintf(m_out, "\r\033[K%s", ProgressLine(progress, m_width - 1).c_str());
    std::fflush(m_out);
    m_bar = true;
}

void Terminal::OnMessage(const Message &) {
    ClearBar();
    std::fflush(m_out);
}

void Terminal::OnNavigation(const Navigation &navigation) {
    Line("lumhost: page " + base::OneLine(navigation.target) + " -> " +
         (navigation.url ? base::OneLine(*navigation.url) : "(no address)"));
}

void Terminal::OnLaunch(const Launch &launch) {
    const std::string process = launch.pid != 0 ? " (process " + std::to_string(launch.pid) + ")" : "";
    Line((launch.joined ? "The application has reported itself" : "The application runs") + process);
}

void Terminal::OnLogRequest(const LogRequest &) {}

void Terminal::OnProblem(const std::string &) {
    ClearBar();
    std::fflush(m_out);
}

void Terminal::OnNotice(const std::string &text) {
    Line(base::OneLine(text));
}

void Terminal::OnSettled(const std::string &) {}

void Terminal::OnEnd(int status, const std::string &reason, int message) {
    (void)message;
    TellDownloaded();
    if (status == 0) {
        Line("Done: " + reason);
    } else {
        ClearBar();
        std::fflush(m_out);
    }
}

int TerminalWidth(std::FILE *out) {
    const int descriptor = fileno(out);
    const char *kind = std::getenv("TERM");
    if (!isatty(descriptor) || !kind || std::string_view(kind) == "dumb") {
        return 0;
    }
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace lumhost
