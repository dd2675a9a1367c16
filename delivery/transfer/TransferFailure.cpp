#include "delivery/transfer/TransferFailure.h"

#include "base/Disk.h"

namespace delivery {

namespace {

constexpr char kTryLater[] = "Try again later.";
constexpr char kCheckNetwork[] = "Check the network connection and try again.";
constexpr char kCheckProxy[] = "Check the proxy settings.";
constexpr char kAskOperator[] = "Tell the operator of the site.";

TransferFailure Permanent(const base::Url &url, const std::string &what, const std::string &remedy) {
    return {url.host(), what, remedy, false, std::nullopt};
}

TransferFailure Transient(const base::Url &url, const std::string &what, const std::string &remedy) {
    return {url.host(), what, remedy, true, std::nullopt};
}

std::string InParentheses(const std::string &detail) {
    return detail.empty() ? "" : " (" + detail + ")";
}

// Whole MiB, rounded up.
std::string Mebibytes(std::uint64_t bytes) {
    return std::to_string(bytes / (1 << 20) + (bytes % (1 << 20) != 0)) + " MiB";
}

TransferFailure ServerFailure(const base::Url &url, const ReplyHead &reply) {
    const std::string number = " (status " + std::to_string(reply.status) + ")";
    switch (reply.status) {
    case 401:
    case 403:
        return Permanent(url, "the server refuses the file" + number, kAskOperator);
    case 404:
    case 410:
        return Permanent(url, "the server does not have the file" + number, kAskOperator);
    case 408:
    case 429: {
        TransferFailure failure = Transient(url, "the server is busy" + number, kTryLater);
        failure.retryAfter = reply.retryAfter;
        return failure;
    }
    default:
        break;
    }
    if (reply.status >= 500) {
        TransferFailure failure = Transient(url, "the server has a fault" + number, kTryLater);
        failure.retryAfter = reply.retryAfter;
        return failure;
    }
    return Permanent(url, "the server did not send the file" + number, kAskOperator);
}

} // namespace

TransferFailure StatusFailure(const base::Url &url, const ReplyHead &reply, const std::string &proxy) {
    if (reply.status == 407) {
        return ProxyFailure(url, proxy, reply.status);
    }
    TransferFailure failure = ServerFailure(url, reply);
    const bool mayBeTheProxys = reply.status == 401 || reply.status == 403 || reply.status >= 500;
    if (mayBeTheProxys && !proxy.empty()) {
        failure.cause += ", or the proxy " + proxy + " does not let the request through";
        failure.remedy += " " + std::string(kCheckProxy);
    }
    return failure;
}

TransferFailure ProxyFailure(const base::Url &url, const std::string &proxy, long status) {
    const std::string name = proxy.empty() ? "the proxy" : "the proxy " + proxy;
    if (status == 0) {
        return Transient(url, name + " does not answer, so nothing was fetched", kCheckProxy);
    }
    const std::string number = " (status " + std::to_string(status) + ")";
    if (status == 407) {
        return Permanent(url, name + " asks for a password" + number, kCheckProxy);
    }
    const std::string cause = name + " does not let the connection through" + number;
    return status >= 500 ? Transient(url, cause, kCheckProxy) : Permanent(url, cause, kCheckProxy);
}

TransferFailure RedirectFailure(const base::Url &url, const std::string &cause) {
    return Permanent(url, cause, kAskOperator);
}

TransferFailure EndlessHead(const base::Url &url) {
    return Permanent(url, "the server gave an odd reply: its head is too long", kAskOperator);
}

TransferFailure ExchangeFailure(const base::Url &url, CURLcode code, const std::string &detail) {
    switch (code) {
    case CURLE_PEER_FAILED_VERIFICATION:
        return Permanent(url, "its certificate is not accepted, so nothing was fetched" + InParentheses(detail),
                         "Check this computer's date; if it is right, tell the operator of the site.");
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
        return Permanent(url, "the trusted authorities of this computer cannot be read" + InParentheses(detail),
                         "Check the installation of the system's certificates.");
    case CURLE_SSL_CONNECT_ERROR:
        return Transient(url, "a secure connection could not be made" + InParentheses(detail), kTryLater);
    case CURLE_COULDNT_RESOLVE_HOST:
        return Transient(url, "this host name is not known", "Check the address and the network connection.");
    case CURLE_COULDNT_RESOLVE_PROXY:
        return Transient(url, "the name of the proxy is not known", kCheckProxy);
    case CURLE_COULDNT_CONNECT:
        return Transient(url, "nothing answers on port " + std::to_string(url.port()) + InParentheses(detail),
                         "The server may be down or behind a firewall. " + std::string(kTryLater));
    case CURLE_OPERATION_TIMEDOUT:
        return Transient(url, "no connection could be made in time", kCheckNetwork);
    case CURLE_OUT_OF_MEMORY:
        return Permanent(url, "there is not enough memory", "Close other programs and try again.");
    default:
        // The rest is a connection that ended or broke before everything had come, each in a way of its own.
        return Transient(url, "the connection broke off" + InParentheses(detail), kTryLater);
    }
}

TransferFailure Stalled(const base::Url &url) {
    return Transient(url, "the transfer stalled", kCheckNetwork);
}

TransferFailure OddReply(const base::Url &url, const std::string &what) {
    return Transient(url, "the server gave an odd reply: " + what, kAskOperator);
}

TransferFailure TooLarge(const base::Url &url, std::uint64_t maxBytes) {
    return Permanent(url, "the file is larger than the " + Mebibytes(maxBytes) + " that are allowed", kAskOperator);
}

TransferFailure OtherFile(const base::Url &url, const std::string &what) {
    return Permanent(url, what, kAskOperator);
}

TransferFailure NoRoom(const base::Url &url, std::uint64_t needed) {
    return Permanent(url, "the disk is full: the file needs " + Mebibytes(needed), "Free some space and try again.");
}

TransferFailure DiskFailure(const base::Url &url, int error) {
    return Permanent(url, "the file cannot be stored: " + base::DiskErrorText(error),
                     "Free some space or set the folder's permissions, and try again.");
}

} // namespace delivery
