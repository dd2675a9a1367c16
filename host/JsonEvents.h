// A front end that writes one JSON object a line. docs/lumhost.md describes the objects.
#pragma once

#include <cstdio>

#include "host/EventSink.h"

namespace Json {
class Value;
}

namespace lumhost {

class JsonEvents final : public EventSink {
public:
    // Writes to `out`, which must outlive this, and brings every line out at once. Bytes that are no UTF-8 are replaced.
    explicit JsonEvents(std::FILE *out) : m_out(out) {}

    void OnState(State state, const std::string &detail) override;
    void OnProgress(const Progress &progress) override;
    void OnMessage(const Message &message) override;
    void OnNavigation(const Navigation &navigation) override;
    void OnLaunch(const Launch &launch) override;
    void OnLogRequest(const LogRequest &request) override;
    void OnProblem(const std::string &text) override;
    void OnEnd(int status, const std::string &reason, int message) override;

private:
    void Write(const Json::Value &event);

    std::FILE *m_out;
};

} // namespace lumhost
