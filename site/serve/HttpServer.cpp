#include "site/serve/HttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>

#include "site/serve/HttpConversation.h"
#include "site/serve/PublicFolder.h"

namespace lumsite {

namespace {

constexpr std::size_t kMostConnections = 128;
constexpr int kIdleSeconds = 15;
constexpr int kStalledSeconds = 60;
constexpr const char kBusy[] = "HTTP/1.1 503 Service Unavailable\r\nConnection: close\r\nContent-Length: 0\r\n\r\n";

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

void SetPatience(int socket) {
    const timeval idle{kIdleSeconds, 0};
    const timeval stalled{kStalledSeconds, 0};
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &idle, sizeof idle);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &stalled, sizeof stalled);
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

} // namespace

class HttpServer::Listener {
public:
    Listener(HttpServerOptions options, std::unique_ptr<PublicFolder> folder, base::ScopedDescriptor socket)
        : m_options(std::move(options)), m_folder(std::move(folder)), m_socket(std::move(socket)),
          m_port(PortOf(m_socket.get())), m_stop(eventfd(0, EFD_CLOEXEC)), m_thread([this] { Accept(); }) {}
    ~Listener();

    std::uint16_t port() const {
        return m_port;
    }

private:
    struct Connection {
        base::ScopedDescriptor socket;
        std::atomic<bool> ended = false;
        std::thread thread;
    };

    void Accept();
    void Start(base::ScopedDescriptor socket);
    void Serve(Connection &connection);
    void Reap();
    void Log(const std::string &line);

    HttpServerOptions m_options;
    std::unique_ptr<PublicFolder> m_folder;
    base::ScopedDescriptor m_socket;
    std::uint16_t m_port;
    base::ScopedDescriptor m_stop;
    std::mutex m_logMutex;
    std::list<Connection> m_connections; // only the accepting thread's, and the destructor's after it
    std::thread m_thread;
};

HttpServer::Listener::~Listener() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(m_stop.get(), &one, sizeof one);
    m_thread.join();
    for (Connection &connection : m_connections) {
        shutdown(connection.socket.get(), SHUT_RDWR);
        connection.thread.join();
    }
}

void HttpServer::Listener::Log(const std::string &line) {
    const std::lock_guard lock(m_logMutex);
    m_options.log(line);
}

void HttpServer::Listener::Reap() {
    for (auto at = m_connections.begin(); at != m_connections.end();) {
        if (at->ended) {
            at->thread.join();
            at = m_connections.erase(at);
        } else {
            ++at;
        }
    }
}

void HttpServer::Listener::Start(base::ScopedDescriptor socket) {
    SetPatience(socket.get());
    Reap();
    if (m_connections.size() >= kMostConnections) {
        send(socket.get(), kBusy, sizeof kBusy - 1, MSG_NOSIGNAL);
        return;
    }
    Connection &connection = m_connections.emplace_back();
    connection.socket = std::move(socket);
    try {
        connection.thread = std::thread([this, &connection] { Serve(connection); });
    } catch (const std::system_error &) {
        m_connections.pop_back(); // no thread to be had: the visitor may try again
    }
}

void HttpServer::Listener::Serve(Connection &connection) {
    try {
        std::function<void(const std::string &)> log;
        if (m_options.log) {
            log = [this](const std::string &line) { Log(line); };
        }
        HttpConversation(connection.socket.get(), *m_folder, m_options.logEndpoint, m_options.bytesPerSecond,
                         std::move(log))
            .Run();
    } catch (const std::exception &) {
        // A file that cannot be read ends its own connection only.
    }
    shutdown(connection.socket.get(), SHUT_RDWR);
    connection.ended = true;
}

void HttpServer::Listener::Accept() {
    pollfd events[] = {{m_socket.get(), POLLIN, 0}, {m_stop.get(), POLLIN, 0}};
    for (;;) {
        if (poll(events, 2, 1000) < 0 && errno != EINTR) {
            return;
        }
        if (events[1].revents != 0) {
            return;
        }
        if ((events[0].revents & POLLIN) == 0) {
            Reap();
            continue;
        }
        base::ScopedDescriptor socket(accept4(m_socket.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (socket) {
            Start(std::move(socket));
        } else if (errno == EMFILE || errno == ENFILE) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // until a connection ends
        }
    }
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
    return HttpServer(std::make_unique<Listener>(std::move(options), std::move(*folder), std::move(*socket)));
}

std::uint16_t HttpServer::port() const {
    return m_listener->port();
}
std::string HttpServer::url() const {
    return "http://127.0.0.1:" + std::to_string(port()) + "/";
}

} // namespace lumsite
