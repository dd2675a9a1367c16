// An http or https address, in the one form in which the container handles addresses: absolute, scheme and host in
// lower case, characters that an address may not hold percent-encoded, and without a user, a password and a fragment.
// Those three are dropped when an address is read, so that they can neither be sent nor appear in a text.
//
// A host is brought into one form the way browsers do (the WHATWG's URL standard): percent-encoding is resolved, a name
// of another script becomes its ASCII form ("xn--..."), odd spellings of an IPv4 address the usual one. Then it holds
// letters, digits, "-", "_" and "." only, or is an IPv6 address in brackets without a zone. An address with any other
// host is refused; the standard lets some more signs pass, which no name of the network has.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace base {

class Url {
public:
    // Nothing when `text` is not an absolute http or https address with a host as above. Spaces and, behind the host,
    // bytes outside ASCII are taken and encoded; other control characters are not taken.
    static std::optional<Url> Parse(std::string_view text);

    // The address that `reference`, absolute or relative (of a link, a redirect), means on a page of this address.
    // Nothing when that is not an http or https address.
    std::optional<Url> Resolve(std::string_view reference) const;

    const std::string &text() const {
        return m_text;
    }
    // An IPv6 address keeps its brackets.
    const std::string &host() const {
        return m_host;
    }
    // The scheme's own when the address names none.
    std::uint16_t port() const {
        return m_port;
    }
    bool secure() const {
        return m_secure;
    }

    // "https://host" or, with a port other than the scheme's own, "https://host:8443": what a permission is given to.
    std::string Origin() const;

    bool operator==(const Url &) const = default;

private:
    Url() = default;

    std::string m_text;
    std::string m_host;
    std::uint16_t m_port = 0;
    bool m_secure = false;
};

} // namespace base
