#include "base/Url.h"

#include <curl/curl.h>
#include <idn2.h>

#include <algorithm>
#include <memory>

#include "base/Text.h"

namespace base {

namespace {

struct FreeParts {
    void operator()(CURLU *parts) const {
        curl_url_cleanup(parts);
    }
};
using ScopedParts = std::unique_ptr<CURLU, FreeParts>;

bool Set(CURLU *parts, std::string_view text) {
    std::string encoded;
    for (const char c : text) {
        if (c == '\0') { // curl would not see what follows
            return false;
        }
        // curl's own encoding of a space in a query is "+", which only forms understand.
        encoded += c == ' ' ? std::string("%20") : std::string(1, c);
    }
    return curl_url_set(parts, CURLUPART_URL, encoded.c_str(), CURLU_URLENCODE | CURLU_NON_SUPPORT_SCHEME) == CURLUE_OK;
}

std::string Get(CURLU *parts, CURLUPart part, unsigned flags = 0) {
    char *text = nullptr;
    if (curl_url_get(parts, part, &text, flags) != CURLUE_OK) {
        return {};
    }
    std::string copy = text;
    curl_free(text);
    return copy;
}

std::optional<std::uint16_t> Port(const std::string &text) {
    const std::optional<std::uint16_t> port = ReadNumber<std::uint16_t>(text);
    return port == 0 ? std::nullopt : port;
}

bool IsOfName(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_';
}

// A name of another script in its form of the network. Empty when it has none.
std::string InAscii(const std::string &host) {
    if (std::all_of(host.begin(), host.end(), [](char c) { return c > 0; })) {
        return host;
    }
    char *name = nullptr;
    if (idn2_to_ascii_8z(host.c_str(), &name, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL) != IDN2_OK) {
        return {};
    }
    std::string copy = name;
    idn2_free(name);
    return copy;
}

// The host in its one form. Empty when there is none, or the name is of no kind that the network has.
std::string Host(CURLU *parts) {
    const std::string host = Lower(InAscii(Get(parts, CURLUPART_HOST)));
    if (host.starts_with("[")) { // curl has read the number; one with the name of a network card is nothing for a page
        return Get(parts, CURLUPART_ZONEID).empty() ? host : std::string();
    }
    return std::all_of(host.begin(), host.end(), IsOfName) ? host : std::string();
}

} // namespace

std::optional<Url> Url::Parse(std::string_view text) {
    ScopedParts parts(curl_url());
    if (!parts || !Set(parts.get(), text)) {
        return std::nullopt;
    }
    const std::string scheme = Lower(Get(parts.get(), CURLUPART_SCHEME));
    Url url;
    url.m_secure = scheme == "https";
    url.m_host = Host(parts.get());
    const auto port = Port(Get(parts.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT));
    if ((scheme != "http" && !url.m_secure) || url.m_host.empty() || !port) {
        return std::nullopt;
    }
    url.m_port = *port;
    for (const CURLUPart dropped : {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_OPTIONS, CURLUPART_FRAGMENT}) {
        curl_url_set(parts.get(), dropped, nullptr, 0);
    }
    curl_url_set(parts.get(), CURLUPART_HOST, url.m_host.c_str(), 0);
    url.m_text = Get(parts.get(), CURLUPART_URL, CURLU_NO_DEFAULT_PORT);
    if (url.m_text.empty()) {
        return std::nullopt;
    }
    return url;
}

std::optional<Url> Url::Resolve(std::string_view reference) const {
    ScopedParts parts(curl_url());
    if (!parts || !Set(parts.get(), m_text) || !Set(parts.get(), reference)) {
        return std::nullopt;
    }
    return Parse(Get(parts.get(), CURLUPART_URL));
}

std::string Url::Origin() const {
    const std::uint16_t usual = m_secure ? 443 : 80;
    return (m_secure ? "https://" : "http://") + m_host + (m_port == usual ? "" : ":" + std::to_string(m_port));
}

} // namespace base
