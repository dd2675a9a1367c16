#include "host/frontend/JsonEvents.h"

#include <json/json.h>

#include "base/Text.h"

namespace lumhost {

namespace {

// A text as it came, unless it is not UTF-8, which a JSON reader would refuse.
Json::Value Text(const std::string &text) {
    return base::IsUtf8(text) ? text : base::OneLine(text);
}

template <typename Number> Json::Value OrNull(const std::optional<Number> &number) {
    return number ? Json::Value(static_cast<Json::UInt64>(*number)) : Json::Value();
}

} // namespace

Json::Value JsonEvents::Event(const char *name) {
    Json::Value event(Json::objectValue);
    event["event"] = name;
    return event;
}

void JsonEvents::Write(const Json::Value &event) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    Put(Json::writeString(builder, event));
}

void JsonEvents::OnState(State state, const std::string &detail) {
    Json::Value event = Event("state");
    event["state"] = NameOf(state);
    if (!detail.empty()) {
        event["name"] = Text(detail);
    }
    Write(event);
}

void JsonEvents::OnProgress(const Progress &progress) {
    Json::Value event = Event("progress");
    event["received"] = static_cast<Json::UInt64>(progress.received);
    event["total"] = OrNull(progress.total);
    event["percent"] = OrNull(progress.percent);
    event["bytesPerSecond"] = OrNull(progress.rate);
    event["secondsLeft"] = OrNull(progress.secondsLeft);
    Write(event);
}

void JsonEvents::OnMessage(const Message &message) {
    Json::Value event = Event("message");
    event["number"] = message.number;
    event["text"] = Text(message.text);
    Write(event);
}

void JsonEvents::OnNavigation(const Navigation &navigation) {
    Json::Value event = Event("navigation");
    event["target"] = Text(navigation.target);
    event["url"] = navigation.url ? Text(*navigation.url) : Json::Value();
    Write(event);
}

void JsonEvents::OnLaunch(const Launch &launch) {
    Json::Value event = Event("launched");
    event["pid"] = launch.pid != 0 ? Json::Value(launch.pid) : Json::Value();
    event["joined"] = launch.joined;
    Write(event);
}

void JsonEvents::OnLogRequest(const LogRequest &request) {
    Json::Value event = Event("log");
    event["code"] = request.code;
    event["url"] = Text(request.url);
    Write(event);
}

void JsonEvents::OnProblem(const std::string &text) {
    Json::Value event = Event("problem");
    event["text"] = Text(text);
    Write(event);
}

void JsonEvents::OnNotice(const std::string &text) {
    Json::Value event = Event("notice");
    event["text"] = Text(text);
    Write(event);
}

void JsonEvents::OnSettled(const std::string &reason) {
    Json::Value event = Event("settled");
    event["reason"] = Text(reason);
    Write(event);
}

void JsonEvents::OnEnd(int status, const std::string &reason, int message) {
    Json::Value event = Event("exit");
    event["status"] = status;
    event["reason"] = Text(reason);
    event["message"] = message;
    Write(event);
}

void JsonLines::Put(const std::string &json) {
    std::fprintf(m_out, "%s\n", json.c_str());
    std::fflush(m_out);
}

} // namespace lumhost
