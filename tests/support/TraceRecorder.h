// Keeps every trace that is posted while the object lives.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct Trace {
    int level; // 0 debug, 1 information, 2 warning, 3 error
    std::string text;
    std::string module;
};

class TraceRecorder {
public:
    TraceRecorder();
    ~TraceRecorder();
    TraceRecorder(const TraceRecorder &) = delete;
    TraceRecorder &operator=(const TraceRecorder &) = delete;

    const std::vector<Trace> &traces() const {
        return m_traces;
    }
    std::vector<std::string> Texts(int level) const;
    // True when some trace has exactly this text (at this level, when one is given).
    bool Has(std::string_view text, int level = -1) const;
    // True when some trace contains this text.
    bool HasPart(std::string_view part, int level = -1) const;
    void Clear() {
        m_traces.clear();
    }
    void Add(Trace trace) {
        m_traces.push_back(std::move(trace));
    }

private:
    std::vector<Trace> m_traces;
    void *m_observer; // retained
};
