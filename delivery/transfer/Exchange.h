// One errand of the transfer thread on a curl handle of its own: an exchange, and perhaps more after pauses, until it
// has ended. Everything here belongs to the transfer thread.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "delivery/transfer/TransferFailure.h"
#include "delivery/transfer/Transfers.h"
#include "base/Url.h"

namespace delivery {

using TransferClock = std::chrono::steady_clock;

// The proxies, as the environment has them: read once on the main thread, since another thread must not look into an
// environment that may change. With these set, curl does not look either.
struct TransferProxies {
    static TransferProxies FromEnvironment();
    std::string http;
    std::string https;
    std::string none; // hosts to reach without
};

struct TransferRules {
    TransferSettings settings;
    TransferProxies proxies;
};

class Exchange {
public:
    Exchange(const TransferRules &rules, base::Url url);
    virtual ~Exchange() = default;
    Exchange(const Exchange &) = delete;
    Exchange &operator=(const Exchange &) = delete;

    CURL *handle() const {
        return m_handle.get();
    }

    // Makes the handle ready for the next exchange.
    virtual void Begin(TransferClock::time_point now);
    // The exchange has ended: the pause until the next one, or nothing when the errand is over.
    virtual std::optional<std::chrono::milliseconds> End(CURLcode code) = 0;
    // True when the running exchange has to be ended, with CURLE_OPERATION_TIMEDOUT.
    virtual bool Overdue(TransferClock::time_point) {
        return false;
    }

protected:
    // Takes a piece of the body; false ends the exchange with CURLE_WRITE_ERROR.
    virtual bool Receive(const char *data, std::size_t size) = 0;
    virtual curl_slist *AddHeaders(curl_slist *headers) {
        return headers;
    }

    const TransferRules &rules() const {
        return m_rules;
    }
    const base::Url &url() const {
        return m_url;
    } // the one at which redirects have arrived
    std::string ErrorDetail() const {
        return m_error;
    }
    // The proxy that gives the answers itself, because the address is not secure; empty when there is none.
    std::string AnsweringProxy() const;
    // Whether the exchange, which broke with `code`, failed at the proxy.
    std::optional<TransferFailure> FailureOfProxy(CURLcode code) const;

    // Back to the address that was asked for.
    void ForgetRedirects();
    // Nothing when the reply redirects to an address that is followed: the next exchange goes there. Else a failure.
    std::optional<std::string> FollowRedirect();

private:
    const std::string &Proxy() const; // empty: none
    static std::size_t ReceiveCallback(char *data, std::size_t one, std::size_t size, void *self);

    struct CloseHandle {
        void operator()(CURL *handle) const {
            curl_easy_cleanup(handle);
        }
    };
    struct FreeList {
        void operator()(curl_slist *list) const {
            curl_slist_free_all(list);
        }
    };

    const TransferRules &m_rules;
    const base::Url m_asked;
    base::Url m_url;
    unsigned m_redirects = 0;
    char m_error[CURL_ERROR_SIZE] = "";
    std::unique_ptr<curl_slist, FreeList> m_headers;
    std::unique_ptr<CURL, CloseHandle> m_handle; // goes first: it refers to the others
};

bool IsRedirect(long status);

// A background request: what comes is dropped.
class BackgroundRequest final : public Exchange {
public:
    using Exchange::Exchange;
    void Begin(TransferClock::time_point now) override;
    std::optional<std::chrono::milliseconds> End(CURLcode code) override;

private:
    bool Receive(const char *data, std::size_t size) override;
    std::size_t m_received = 0;
};

} // namespace delivery
