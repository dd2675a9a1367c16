#include "delivery/transfer/Exchange.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/socket.h>

#include <initializer_list>
#include <new>

namespace delivery {

namespace {

constexpr std::size_t kDroppedBody = 1 << 16;

std::string FirstOf(std::initializer_list<const char *> names) {
    for (const char *name : names) {
        if (const char *value = getenv(name); value && *value) {
            return value;
        }
    }
    return {};
}

// A proxy's loopback is another one; browsers do not ask a proxy for it either.
bool IsLoopback(const std::string &host) {
    return host == "localhost" || host.ends_with(".localhost") || host == "[::1]" ||
           (host.starts_with("127.") && host.find_first_not_of("0123456789.") == std::string::npos);
}

// Without a user and a password, which must not appear in a text. Empty when it cannot be told.
std::string HostOfProxy(const std::string &proxy) {
    const std::size_t scheme = proxy.find("://");
    const std::optional<base::Url> url =
        base::Url::Parse("http://" + (scheme == std::string::npos ? proxy : proxy.substr(scheme + 3)));
    return url ? url->host() : std::string();
}

// curl's own sockets would be handed down to every program that the container starts.
curl_socket_t OpenSocket(void *, curlsocktype, curl_sockaddr *address) {
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

} // namespace

TransferProxies TransferProxies::FromEnvironment() {
    // HTTP_PROXY in capitals is left out, as everywhere: in a server's script it is a header that a visitor sent.
    const std::string all = FirstOf({"all_proxy", "ALL_PROXY"});
    TransferProxies proxies{FirstOf({"http_proxy"}), FirstOf({"https_proxy", "HTTPS_PROXY"}),
                            FirstOf({"no_proxy", "NO_PROXY"})};
    if (proxies.http.empty()) {
        proxies.http = all;
    }
    if (proxies.https.empty()) {
        proxies.https = all;
    }
    return proxies;
}

Exchange::Exchange(const TransferRules &rules, base::Url url)
    : m_rules(rules), m_asked(std::move(url)), m_url(m_asked), m_handle(curl_easy_init()) {
    if (!m_handle) {
        throw std::bad_alloc();
    }
}

void Exchange::Begin(TransferClock::time_point) {
    CURL *handle = m_handle.get();
    const TransferSettings &settings = m_rules.settings;
    curl_easy_reset(handle);
    m_error[0] = '\0';

    curl_easy_setopt(handle, CURLOPT_URL, m_url.text().c_str());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
    // With TLS, wait and see whether the first connection can carry all transfers at once.
    curl_easy_setopt(handle, CURLOPT_PIPEWAIT, m_url.secure() ? 1L : 0L);
    curl_easy_setopt(handle, CURLOPT_USERAGENT, settings.userAgent.c_str());
    curl_easy_setopt(handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_NONE));
    curl_easy_setopt(handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (!settings.caFile.empty()) {
        curl_easy_setopt(handle, CURLOPT_CAINFO, settings.caFile.c_str());
        curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);
    }
    curl_easy_setopt(handle, CURLOPT_PROXY, Proxy().c_str());
    curl_easy_setopt(handle, CURLOPT_NOPROXY, m_rules.proxies.none.c_str());
    curl_easy_setopt(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);

    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(settings.connectTimeout.count()));
    curl_easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, OpenSocket);
    curl_easy_setopt(handle, CURLOPT_BUFFERSIZE, 256L * 1024);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, m_error);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, ReceiveCallback);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);

    // A compressed copy would have other bytes than the ones that the hash is of.
    m_headers.reset(AddHeaders(curl_slist_append(nullptr, "Accept-Encoding: identity")));
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, m_headers.get());
}

std::size_t Exchange::ReceiveCallback(char *data, std::size_t one, std::size_t size, void *self) {
    // Short of the given size means: end the exchange.
    return static_cast<Exchange *>(self)->Receive(data, one * size) ? one * size : one * size + 1;
}

const std::string &Exchange::Proxy() const {
    static const std::string kNone;
    if (IsLoopback(m_url.host())) {
        return kNone;
    }
    return m_url.secure() ? m_rules.proxies.https : m_rules.proxies.http;
}

std::string Exchange::AnsweringProxy() const {
    // Some hosts are reached without the proxy: only the port tells who answered.
    long port = 0;
    curl_easy_getinfo(m_handle.get(), CURLINFO_PRIMARY_PORT, &port);
    return m_url.secure() || Proxy().empty() || port == m_url.port() ? "" : HostOfProxy(Proxy());
}

std::optional<TransferFailure> Exchange::FailureOfProxy(CURLcode code) const {
    if (Proxy().empty()) {
        return std::nullopt;
    }
    const std::string host = HostOfProxy(Proxy());
    long status = 0;
    curl_easy_getinfo(m_handle.get(), CURLINFO_HTTP_CONNECTCODE, &status);
    if (status >= 300) {
        return ProxyFailure(m_url, host, status);
    }
    // Some hosts are reached without the proxy: only curl's text tells whom it tried.
    if (code == CURLE_COULDNT_CONNECT && !host.empty() &&
        ErrorDetail().find("to " + host + " port") != std::string::npos) {
        return ProxyFailure(m_url, host, 0);
    }
    return std::nullopt;
}

void Exchange::ForgetRedirects() {
    m_url = m_asked;
    m_redirects = 0;
}

std::optional<std::string> Exchange::FollowRedirect() {
    const char *location = nullptr;
    curl_easy_getinfo(m_handle.get(), CURLINFO_REDIRECT_URL, &location);
    const std::optional<base::Url> next = location ? base::Url::Parse(location) : std::nullopt;
    if (!next) {
        return "it redirects to something that is not a web address";
    }
    if (m_url.secure() && !next->secure()) {
        return "it redirects from a secure address to an insecure one";
    }
    if (++m_redirects > m_rules.settings.redirects) {
        return "it redirects in circles or too often";
    }
    m_url = *next;
    return std::nullopt;
}

bool IsRedirect(long status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

void BackgroundRequest::Begin(TransferClock::time_point now) {
    Exchange::Begin(now);
    curl_easy_setopt(handle(), CURLOPT_TIMEOUT_MS, static_cast<long>(rules().settings.requestTimeout.count()));
    m_received = 0;
}

std::optional<std::chrono::milliseconds> BackgroundRequest::End(CURLcode) {
    long status = 0;
    curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
    if (IsRedirect(status) && !FollowRedirect()) {
        return std::chrono::milliseconds(0);
    }
    return std::nullopt;
}

bool BackgroundRequest::Receive(const char *, std::size_t size) {
    m_received += size;
    return m_received <= kDroppedBody;
}

} // namespace delivery
