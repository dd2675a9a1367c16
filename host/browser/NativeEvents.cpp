#include "host/browser/NativeEvents.h"

#include <json/json.h>

#include "host/Process.h"

namespace lumhost {

void NativeEvents::Hello() {
    Json::Value event = Event("hello");
    event["version"] = kNativeVersion;
    event["program"] = kVersion;
    Write(event);
}

void NativeEvents::Refuse(const NativeRefusal &refusal) {
    Complain(refusal.text);
    Json::Value event = Event("refused");
    event["reason"] = refusal.reason;
    event["text"] = refusal.text;
    Write(event);
}

void NativeEvents::Forbid(const std::vector<std::string> &sites) {
    Json::Value event = Event("forbidden");
    event["sites"] = Json::Value(Json::arrayValue);
    for (const std::string &site : sites) {
        event["sites"].append(site);
    }
    Write(event);
}

void NativeEvents::OnLogRequest(const LogRequest &) {}

void NativeEvents::Put(const std::string &json) {
    m_pipe.Send(json);
}

} // namespace lumhost
