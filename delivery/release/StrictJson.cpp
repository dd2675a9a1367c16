#include "delivery/release/StrictJson.h"

#include <json/reader.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "base/Text.h"
#include "base/Utf8.h"
#include "delivery/release/ReleaseFault.h"

namespace delivery {

namespace {

constexpr std::size_t kMaxDepth = 32;
// About 100 bytes of memory each; a release with 10,000 packages has 80,000.
constexpr std::size_t kMaxValues = 200'000;

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

// Looks through a text for what jsoncpp would accept, or would spend too much on.
class Scan {
public:
    explicit Scan(std::string_view text) : m_rest(text) {}

    // What is wrong; nullptr when nothing is.
    const char *Fault() {
        while (!m_rest.empty()) {
            if (const char *fault = Token(m_rest.front())) {
                return fault;
            }
        }
        return nullptr;
    }

private:
    const char *Token(char first) {
        if (first == '"') {
            return String();
        }
        if (first == '-' || IsDigit(first)) {
            return Number();
        }
        m_rest.remove_prefix(1);
        switch (first) {
        case '{':
        case '[':
            return ++m_depth > kMaxDepth ? "it is nested too deeply" : Count();
        case '}':
        case ']':
            m_depth -= m_depth > 0 ? 1 : 0;
            return nullptr;
        case ',':
        case ':':
            return Count();
        default:
            return nullptr;
        }
    }

    const char *Count() {
        return ++m_values > kMaxValues ? "it holds too many values" : nullptr;
    }

    const char *Number() {
        m_rest.remove_prefix(m_rest.front() == '-' ? 1 : 0);
        std::size_t digits = 0;
        while (digits < m_rest.size() && IsDigit(m_rest[digits])) {
            ++digits;
        }
        const bool leadingZero = digits > 1 && m_rest.front() == '0';
        if (digits == 0 || leadingZero) {
            return "a number is malformed";
        }
        m_rest.remove_prefix(digits);
        const char next = m_rest.empty() ? ' ' : m_rest.front();
        return next == '.' || next == 'e' || next == 'E' ? "a number is not an integer" : nullptr;
    }

    const char *String() {
        m_rest.remove_prefix(1);
        while (!m_rest.empty() && m_rest.front() != '"') {
            if (static_cast<unsigned char>(m_rest.front()) < 0x20) {
                return "a text holds a control character";
            }
            if (m_rest.front() != '\\') {
                m_rest.remove_prefix(1);
            } else if (!Escape()) {
                return "a text holds a malformed escape";
            }
        }
        m_rest.remove_prefix(m_rest.empty() ? 0 : 1);
        return nullptr;
    }

    bool Escape() {
        const std::optional<std::uint32_t> unit = CodeUnit();
        if (!unit) { // another escape: two characters, which jsoncpp judges
            const bool isUnicode = m_rest.starts_with("\\u");
            m_rest.remove_prefix(m_rest.size() < 2 ? m_rest.size() : 2);
            return !isUnicode;
        }
        if (*unit < 0xD800 || *unit > 0xDFFF) {
            return true;
        }
        const std::optional<std::uint32_t> second = CodeUnit();
        return *unit < 0xDC00 && second && *second >= 0xDC00 && *second <= 0xDFFF;
    }

    // Takes "\uXXXX" off the text.
    std::optional<std::uint32_t> CodeUnit() {
        if (m_rest.size() < 6 || !m_rest.starts_with("\\u")) {
            return std::nullopt;
        }
        const std::optional<std::uint32_t> unit = base::ReadNumber<std::uint32_t>(m_rest.substr(2, 4), 16);
        m_rest.remove_prefix(unit ? 6 : 0);
        return unit;
    }

    std::string_view m_rest;
    std::size_t m_depth = 0;
    std::size_t m_values = 0;
};

bool HoldsFraction(const Json::Value &value) {
    if (value.isDouble() && value.type() == Json::realValue) {
        return true;
    }
    if (!value.isArray() && !value.isObject()) {
        return false;
    }
    for (const Json::Value &part : value) {
        if (HoldsFraction(part)) {
            return true;
        }
    }
    return false;
}

base::Result<Json::Value> Parse(std::string_view text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["skipBom"] = false;
    builder["stackLimit"] = Json::UInt(kMaxDepth + 1);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
            return value;
        }
    } catch (const Json::Exception &exception) {
        errors = exception.what();
    }
    return Refuse(ReleaseFault::Malformed, "it is not JSON (" + base::OneLine(errors) + ")");
}

void AppendText(const std::string &text, std::string &out) {
    out += '"';
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            out += '\\';
        }
        out += character;
    }
    out += '"';
}

void Append(const Json::Value &value, std::string &out);

void AppendObject(const Json::Value &object, std::string &out) {
    char before = '{';
    for (auto member = object.begin(); member != object.end(); ++member) { // jsoncpp keeps names in byte order
        out += before;
        AppendText(member.name(), out);
        out += ':';
        Append(*member, out);
        before = ',';
    }
    out += object.empty() ? "{}" : "}";
}

void AppendArray(const Json::Value &array, std::string &out) {
    char before = '[';
    for (const Json::Value &value : array) {
        out += before;
        Append(value, out);
        before = ',';
    }
    out += array.empty() ? "[]" : "]";
}

void Append(const Json::Value &value, std::string &out) {
    switch (value.type()) {
    case Json::objectValue:
        return AppendObject(value, out);
    case Json::arrayValue:
        return AppendArray(value, out);
    case Json::stringValue:
        return AppendText(value.asString(), out);
    case Json::booleanValue:
        out += value.asBool() ? "true" : "false";
        return;
    case Json::uintValue:
        out += std::to_string(value.asUInt64());
        return;
    case Json::intValue:
    case Json::realValue:
        out += std::to_string(value.asInt64());
        return;
    case Json::nullValue:
        out += "null";
        return;
    }
}

} // namespace

base::Result<Json::Value> ReadStrictJson(std::string_view text) {
    if (!base::IsUtf8(text)) {
        return Refuse(ReleaseFault::Malformed, "it is not UTF-8");
    }
    if (const char *fault = Scan(text).Fault()) {
        return Refuse(ReleaseFault::Malformed, fault);
    }
    base::Result<Json::Value> value = Parse(text);
    if (value && HoldsFraction(*value)) { // only what fits no 64 bits is left to become one
        return Refuse(ReleaseFault::Malformed, "a number is too large");
    }
    return value;
}

std::string CanonicalJson(const Json::Value &value) {
    std::string out;
    Append(value, out);
    return out;
}

} // namespace delivery
