// A slow line: relays TCP connections to a server, each direction delayed, all of them together no faster than a rate
// towards the client. SIGUSR1 breaks every connection and takes the line away for a second.
//
//     lum_line SERVER-PORT BITS-PER-SECOND DELAY-MS PORT-FILE
//
// Listens on a free port of the loopback address, written to the file. Shapes what the programs see (when bytes come),
// not what their TCP does: losses and slow starts are not there.
#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <list>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Duration = Clock::duration;

constexpr std::size_t kWindow = 256 << 10; // bytes of one direction that are on their way
constexpr auto kTurn = std::chrono::milliseconds(1);
constexpr auto kOutage = std::chrono::seconds(1);

volatile std::sig_atomic_t g_broken = 0;

struct Chunk {
    Clock::time_point due;
    std::vector<char> bytes;
    std::size_t sent = 0;
};

// One direction of a connection.
struct Way {
    int from, to;
    std::deque<Chunk> chunks;
    std::size_t waiting = 0;
    bool ended = false; // the sender has closed
    bool done = false;  // and so has this
};

struct Connection {
    std::array<Way, 2> ways; // to the server, to the client
    bool failed = false;
};

// When the next bytes may arrive, so that all together keep to the rate.
class Shaper {
public:
    explicit Shaper(double bitsPerSecond) : m_bytesPerSecond(bitsPerSecond / 8) {}
    Clock::time_point Admit(std::size_t bytes) {
        m_free = std::max(m_free, Clock::now()) + std::chrono::duration_cast<Duration>(std::chrono::duration<double>(
                                                      static_cast<double>(bytes) / m_bytesPerSecond));
        return m_free;
    }

private:
    const double m_bytesPerSecond;
    Clock::time_point m_free = Clock::now();
};

int Listen(int &port) {
    const int file = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(file, reinterpret_cast<sockaddr *>(&address), size) != 0 || listen(file, 64) != 0 ||
        getsockname(file, reinterpret_cast<sockaddr *>(&address), &size) != 0) {
        std::perror("lum_line");
        std::exit(1);
    }
    port = ntohs(address.sin_port);
    return file;
}

int Connect(int port) {
    const int file = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(file, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        close(file);
        return -1;
    }
    fcntl(file, F_SETFL, O_NONBLOCK);
    return file;
}

bool Take(Way &way, Shaper *shaper, Duration delay) {
    std::vector<char> bytes(16 << 10);
    const ssize_t size = recv(way.from, bytes.data(), bytes.size(), 0);
    if (size < 0) {
        return errno == EAGAIN || errno == EINTR;
    }
    if (size == 0) {
        way.ended = true;
        return true;
    }
    bytes.resize(static_cast<std::size_t>(size));
    way.waiting += bytes.size();
    const Clock::time_point leaves = shaper ? shaper->Admit(bytes.size()) : Clock::now();
    way.chunks.push_back({leaves + delay, std::move(bytes)});
    return true;
}

bool Give(Way &way) {
    while (!way.chunks.empty() && way.chunks.front().due <= Clock::now()) {
        Chunk &chunk = way.chunks.front();
        const ssize_t size =
            send(way.to, chunk.bytes.data() + chunk.sent, chunk.bytes.size() - chunk.sent, MSG_NOSIGNAL);
        if (size < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        chunk.sent += static_cast<std::size_t>(size);
        way.waiting -= static_cast<std::size_t>(size);
        if (chunk.sent == chunk.bytes.size()) {
            way.chunks.pop_front();
        }
    }
    if (way.ended && way.chunks.empty() && !way.done) {
        shutdown(way.to, SHUT_WR);
        way.done = true;
    }
    return true;
}

void Close(const Connection &connection) {
    close(connection.ways[0].from);
    close(connection.ways[0].to);
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 5) {
        std::fputs("usage: lum_line SERVER-PORT BITS-PER-SECOND DELAY-MS PORT-FILE\n", stderr);
        return 2;
    }
    std::signal(SIGUSR1, [](int) { g_broken = 1; });
    const int server = std::atoi(argv[1]);
    Shaper shaper(std::atof(argv[2]));
    const Duration delay = std::chrono::milliseconds(std::atoi(argv[3]));
    int port = 0;
    const int listener = Listen(port);
    std::ofstream(argv[4]) << port << '\n';
    std::list<Connection> connections;
    Clock::time_point backAt{};
    for (;;) {
        if (g_broken) {
            g_broken = 0;
            backAt = Clock::now() + kOutage;
            for (Connection &connection : connections) {
                connection.failed = true;
            }
        }
        std::vector<pollfd> files{{listener, POLLIN, 0}};
        for (const Connection &connection : connections) {
            for (const Way &way : connection.ways) {
                files.push_back({way.from, static_cast<short>(way.ended || way.waiting >= kWindow ? 0 : POLLIN), 0});
            }
        }
        poll(files.data(), files.size(), connections.empty() ? 100 : static_cast<int>(kTurn.count()));
        std::size_t place = 1;
        for (Connection &connection : connections) {
            for (std::size_t i = 0; i < 2; ++i, ++place) {
                Way &way = connection.ways[i];
                if (files[place].revents && files[place].events && !Take(way, i == 1 ? &shaper : nullptr, delay)) {
                    connection.failed = true;
                }
                connection.failed = connection.failed || !Give(way);
            }
        }
        connections.remove_if([](const Connection &connection) {
            const bool over = connection.failed || (connection.ways[0].done && connection.ways[1].done);
            if (over) {
                Close(connection);
            }
            return over;
        });
        const int client = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (client < 0) {
            continue;
        }
        const int there = Clock::now() < backAt ? -1 : Connect(server);
        if (there < 0) {
            close(client);
            continue;
        }
        connections.push_back({{Way{client, there, {}}, Way{there, client, {}}}});
    }
}
