#include "host/browser/NativeMessage.h"

#include <json/json.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "host/sites/Origins.h"
#include "base/Text.h"

namespace lumhost {

namespace {

constexpr std::size_t kMostParameters = 1000;
constexpr std::size_t kMostGranted = 2;

tl::unexpected<NativeRefusal> Refuse(const char *reason, const std::string &text) {
    return tl::unexpected<NativeRefusal>({reason, text});
}

tl::unexpected<NativeRefusal> Malformed(const std::string &text) {
    return Refuse("malformed", text);
}

bool Parse(std::string_view json, Json::Value &value) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["stackLimit"] = 16;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    try {
        return reader->parse(json.data(), json.data() + json.size(), &value, &errors);
    } catch (const Json::Exception &) { // nested too deeply
        return false;
    }
}

bool IsText(const Json::Value &value) {
    return value.isString() && value.asString().find('\0') == std::string::npos;
}

bool ReadParameters(const Json::Value &list, NativeStart &start) {
    if (!list.isArray() || list.size() > kMostParameters) {
        return false;
    }
    for (const Json::Value &pair : list) {
        if (!pair.isArray() || pair.size() != 2 || !IsText(pair[0]) || !IsText(pair[1])) {
            return false;
        }
        start.parameters.emplace_back(pair[0].asString(), pair[1].asString());
    }
    return true;
}

bool ReadGranted(const Json::Value &list, NativeStart &start) {
    if (!list.isArray() || list.size() > kMostGranted) {
        return false;
    }
    for (const Json::Value &site : list) {
        const auto origin = IsText(site) ? ReadOrigin(site.asString()) : std::nullopt;
        if (!origin || *origin != site.asString()) {
            return false;
        }
        start.granted.push_back(*origin);
    }
    return true;
}

std::string FirstUnknown(const Json::Value &message) {
    constexpr const char *kKnown[] = {"granted", "origin", "page", "parameters", "private", "type", "version"};
    for (const std::string &name : message.getMemberNames()) {
        if (std::find(std::begin(kKnown), std::end(kKnown), name) == std::end(kKnown)) {
            return name;
        }
    }
    return {};
}

} // namespace

tl::expected<NativeStart, NativeRefusal> ReadNativeStart(std::string_view json) {
    Json::Value message;
    if (!base::IsUtf8(json) || !Parse(json, message) || !message.isObject()) {
        return Malformed("the message is not a JSON object");
    }
    if (!message["version"].isInt() || message["version"].asInt() != kNativeVersion) {
        return Refuse("version", "the browser's extension and lumhost have different versions; update both");
    }
    if (const std::string name = FirstUnknown(message); !name.empty()) {
        return Refuse("unknown-field", "the message has an unknown field: " + base::OneLine(name));
    }
    if (!message["type"].isString() || message["type"].asString() != "start") {
        return Refuse("type", "the message is not of the type \"start\"");
    }
    const std::optional<base::Url> page =
        IsText(message["page"]) ? base::Url::Parse(message["page"].asString()) : std::nullopt;
    if (!page || !IsText(message["origin"]) || page->Origin() != message["origin"].asString()) {
        return Refuse("origin", "the page is not an http or https page of the named site");
    }
    if (message.isMember("private") && !message["private"].isBool()) {
        return Malformed("\"private\" is not true or false");
    }
    NativeStart start{*page, page->Origin(), {}, {}, message["private"].asBool()};
    if (!ReadParameters(message["parameters"], start)) {
        return Malformed("\"parameters\" is not a list of pairs of a name and a value");
    }
    if (!ReadGranted(message["granted"], start)) {
        return Malformed("\"granted\" is not a list of sites");
    }
    return start;
}

std::string Framed(std::string_view message) {
    const auto length = static_cast<std::uint32_t>(message.size());
    std::string frame(sizeof length, '\0');
    std::memcpy(frame.data(), &length, sizeof length);
    return frame.append(message);
}

} // namespace lumhost
