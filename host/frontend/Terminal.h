// The front end for people: a line for each step, and a progress bar when standard output is a terminal.
//
// The line of a navigation ("lumhost: page TARGET -> URL") is meant to be read by scripts, too. Texts from the page are
// shown on one line without control characters.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

#include "host/frontend/EventSink.h"

namespace lumhost {

// One line of a bar, at most `width` columns: "[####    ]  42%  12.3 MB of 29.0 MB  1.2 MB/s  about 15 s left", or only
// the bytes when there is no total. What does not fit is cut off.
std::string ProgressLine(const Progress &progress, int width);

class Terminal final : public EventSink {
public:
    // `width`: the terminal's, in columns; 0 when `out` is not a terminal. `out` must outlive this.
    Terminal(std::FILE *out, int width) : m_out(out), m_width(width) {}

    void OnState(State state, const std::string &detail) override;
    void OnProgress(const Progress &progress) override;
    void OnMessage(const Message &message) override;
    void OnNavigation(const Navigation &navigation) override;
    void OnLaunch(const Launch &launch) override;
    void OnLogRequest(const LogRequest &request) override;
    void OnProblem(const std::string &text) override;
    void OnNotice(const std::string &text) override;
    void OnSettled(const std::string &reason) override;
    void OnEnd(int status, const std::string &reason, int message) override;

private:
    void Line(const std::string &text);
    void ClearBar();
    void TellDownloaded();

    std::FILE *m_out;
    const int m_width;
    bool m_downloading = false; // said once
    bool m_bar = false;         // the cursor is in a bar
    Progress m_last;
    std::uint64_t m_told = 0; // so many bytes were told to have been downloaded
};

// Columns of the terminal behind `out`; 0 when it is not a terminal, or one that cannot move its cursor.
int TerminalWidth(std::FILE *out);

} // namespace lumhost
