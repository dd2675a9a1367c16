// A front end that makes every event one JSON object. docs/lumhost.md describes the objects.
#pragma once

#include <cstdio>

#include "host/frontend/EventSink.h"

namespace Json {
class Value;
}

namespace lumhost {

// Bytes that are not UTF-8 are replaced.
class JsonEvents : public EventSink {
public:
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

protected:
    static Json::Value Event(const char *name);
    void Write(const Json::Value &event);

private:
    virtual void Put(const std::string &json) = 0;
};

class JsonLines final : public JsonEvents {
public:
    // Writes to `out`, which must outlive this, and flushes every line.
    explicit JsonLines(std::FILE *out) : m_out(out) {}

private:
    void Put(const std::string &json) override;

    std::FILE *m_out;
};

} // namespace lumhost
