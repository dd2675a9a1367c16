#include "site/serve/HttpServer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/ScopedDescriptor.h"
#include "site/serve/HttpReply.h"

namespace lumsite {

namespace {

constexpr unsigned int kMostConnections = 128;
constexpr unsigned int kIdleSeconds = 30;
constexpr std::size_t kConnectionMemory = 16 * 1024; // limits the head of a request
constexpr std::size_t kBlock = 64 * 1024;
constexpr int kAsLenientAsPossible = -2; // the extension does not escape the blanks in a report's URL

base::Result<base::ScopedDescriptor> Listen(std::uint16_t port) {
    base::ScopedDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int yes = 1;
    setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(socket.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(socket.get(), SOMAXCONN) != 0) {
        if (errno == EADDRINUSE) {
            return base::Fail("port " + std::to_string(port) + " is in use; choose another, or 0 for any free one");
        }
        return base::SystemFailure("cannot listen on 127.0.0.1:" + std::to_string(port), errno);
    }
    return socket;
}

std::uint16_t PortOf(int socket) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(socket, reinterpret_cast<sockaddr *>(&address), &length);
    return ntohs(address.sin_port);
}

std::string HeaderOf(MHD_Connection *connection, const char *name) {
    const char *value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value ? value : "";
}

// The part of a file that a reply sends.
struct Sending {
    base::ScopedDescriptor file;
    std::uint64_t first;
    std::uint64_t bytesPerSecond;
};

// Called by the library on the connection's own thread, which may sleep.
ssize_t ReadPart(void *context, std::uint64_t position, char *out, std::size_t size) {
    constexpr std::uint64_t kPausesPerSecond = 10;
    const Sending &sending = *static_cast<const Sending *>(context);
    if (sending.bytesPerSecond > 0) {
        size = std::clamp<std::size_t>(sending.bytesPerSecond / kPausesPerSecond, 1, size);
        std::this_thread::sleep_for(std::chrono::milliseconds(size * 1000 / sending.bytesPerSecond));
    }
    ssize_t count = 0;
    do {
        count = pread(sending.file.get(), out, size, static_cast<off_t>(sending.first + position));
    } while (count < 0 && errno == EINTR);
    return count > 0 ? count : MHD_CONTENT_READER_END_WITH_ERROR; // the file has become shorter
}

struct ResponseFreer {
    void operator()(MHD_Response *response) const {
        MHD_destroy_response(response);
    }
};
using ScopedResponse = std::unique_ptr<MHD_Response, ResponseFreer>;

ScopedResponse ToResponse(HttpReply reply, std::uint64_t bytesPerSecond) {
    ScopedResponse response;
    if (reply.file.descriptor) {
        auto sending =
            std::make_unique<Sending>(Sending{std::move(reply.file.descriptor), reply.range.first, bytesPerSecond});
        response.reset(MHD_create_response_from_callback(reply.range.length, kBlock, ReadPart, sending.release(),
                                                         [](void *given) { delete static_cast<Sending *>(given); }));
    } else {
        response.reset(MHD_create_response_from_buffer(reply.body.size(), reply.body.data(), MHD_RESPMEM_MUST_COPY));
    }
    for (const auto &[name, value] : reply.headers) {
        MHD_add_response_header(response.get(), name.c_str(), value.c_str());
    }
    return response;
}

// One request, from its first line to the end of its reply.
struct Exchange {
    std::string target;
    bool headWasRead = false;
};

} // namespace

class HttpServer::Listener {
public:
    Listener(HttpServerOptions options, std::unique_ptr<PublicFolder> folder)
        : m_options(std::move(options)), m_folder(std::move(folder)) {}
    ~Listener() {
        if (m_daemon) {
            MHD_stop_daemon(m_daemon); // closes the socket, too
        }
    }

    base::Result<void> Start(base::ScopedDescriptor socket);
    std::uint16_t port() const {
        return m_port;
    }

private:
    static MHD_Result Handle(void *listener, MHD_Connection *connection, const char *, const char *method,
                             const char *version, const char *, std::size_t *uploadSize, void **exchange);
    MHD_Result Reply(MHD_Connection *connection, const HttpRequest &request, HttpReply reply);
    HttpReply ReplyTo(MHD_Connection *connection, const HttpRequest &request, std::string_view version);
    void Log(const std::string &line);

    HttpServerOptions m_options;
    std::unique_ptr<PublicFolder> m_folder;
    std::mutex m_logMutex;
    std::uint16_t m_port = 0;
    MHD_Daemon *m_daemon = nullptr;
};

void HttpServer::Listener::Log(const std::string &line) {
    if (m_options.log) {
        const std::lock_guard lock(m_logMutex);
        m_options.log(line);
    }
}

HttpReply HttpServer::Listener::ReplyTo(MHD_Connection *connection, const HttpRequest &request,
                                        std::string_view version) {
    if (version == "HTTP/1.1" && HeaderOf(connection, "Host").empty()) {
        return StatusReply(400, {{"Connection", "close"}});
    }
    if (const std::optional<std::string_view> query = ReportQuery(request, m_options.logEndpoint)) {
        Log(ReportLine(*query));
        return StatusReply(204);
    }
    return Answer(request, *m_folder);
}

MHD_Result HttpServer::Listener::Reply(MHD_Connection *connection, const HttpRequest &request, HttpReply reply) {
    const std::uint64_t length = reply.file.descriptor ? reply.range.length : reply.body.size();
    const unsigned int status = static_cast<unsigned int>(reply.status);
    const ScopedResponse response = ToResponse(std::move(reply), m_options.bytesPerSecond);
    // Logged before it is sent: whoever has the reply finds its line.
    Log("127.0.0.1 \"" + Printable(request.method + " " + request.target) + "\" " + std::to_string(status) + " " +
        std::to_string(length));
    return MHD_queue_response(connection, status, response.get());
}

MHD_Result HttpServer::Listener::Handle(void *listener, MHD_Connection *connection, const char *, const char *method,
                                        const char *version, const char *, std::size_t *uploadSize, void **exchange) {
    Exchange &state = *static_cast<Exchange *>(*exchange);
    HttpRequest request{method, state.target, HeaderOf(connection, "Range"), HeaderOf(connection, "If-Range"),
                        HeaderOf(connection, "If-None-Match")};
    const bool mayBeAnswered = request.method == "GET" || request.method == "HEAD";
    // A reply in the first call refuses the body, and ends the connection.
    if (mayBeAnswered && !std::exchange(state.headWasRead, true)) {
        return MHD_YES;
    }
    if (mayBeAnswered && *uploadSize > 0) {
        *uploadSize = 0;
        return MHD_YES;
    }
    Listener &self = *static_cast<Listener *>(listener);
    return self.Reply(connection, request, self.ReplyTo(connection, request, version));
}

base::Result<void> HttpServer::Listener::Start(base::ScopedDescriptor socket) {
    m_port = PortOf(socket.get());
    m_daemon = MHD_start_daemon(
        MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL, 0, nullptr, nullptr, Handle,
        this, MHD_OPTION_LISTEN_SOCKET, socket.get(), MHD_OPTION_CONNECTION_LIMIT, kMostConnections,
        MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds, MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionMemory,
        MHD_OPTION_STRICT_FOR_CLIENT, kAsLenientAsPossible, MHD_OPTION_URI_LOG_CALLBACK,
        +[](void *, const char *target, MHD_Connection *) -> void * { return new Exchange{target}; }, nullptr,
        MHD_OPTION_NOTIFY_COMPLETED,
        +[](void *, MHD_Connection *, void **exchange, MHD_RequestTerminationCode) {
            delete static_cast<Exchange *>(*exchange);
        },
        nullptr, MHD_OPTION_END);
    if (!m_daemon) {
        return base::SystemFailure("cannot start the server", errno);
    }
    socket.Release();
    return {};
}

HttpServer::HttpServer(std::unique_ptr<Listener> listener) : m_listener(std::move(listener)) {}
HttpServer::HttpServer(HttpServer &&) noexcept = default;
HttpServer::~HttpServer() = default;

base::Result<HttpServer> HttpServer::Start(HttpServerOptions options) {
    base::Result<std::unique_ptr<PublicFolder>> folder = PublicFolder::Open(options.folder);
    if (!folder) {
        return base::Fail(std::move(folder.error()));
    }
    base::Result<base::ScopedDescriptor> socket = Listen(options.port);
    if (!socket) {
        return base::Fail(std::move(socket.error()));
    }
    auto listener = std::make_unique<Listener>(std::move(options), std::move(*folder));
    return listener->Start(std::move(*socket)).map([&] { return HttpServer(std::move(listener)); });
}

std::uint16_t HttpServer::port() const {
    return m_listener->port();
}
std::string HttpServer::url() const {
    return "http://127.0.0.1:" + std::to_string(port()) + "/";
}

} // namespace lumsite
