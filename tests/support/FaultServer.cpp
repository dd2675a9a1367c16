#include "tests/support/FaultServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <fstream>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>

#include "base/Files.h"
#include "base/Text.h"
#include "tests/support/FaultServerTls.h"

namespace {

constexpr std::size_t kLongestHead = 1 << 20;
constexpr std::uint64_t kLargestFile = 1 << 30;
constexpr std::size_t kPiece = 1 << 16;
constexpr std::size_t kReadPiece = 1 << 14;

struct FreeTls {
    void operator()(SSL *tls) const {
        SSL_free(tls);
    }
};

// One connection: bytes in, bytes out, with or without TLS.
class Stream {
public:
    Stream(int socket, SSL_CTX *context) : m_socket(socket) {
        if (context) {
            m_tls.reset(SSL_new(context));
            SSL_set_fd(m_tls.get(), socket);
        }
    }
    ~Stream() {
        if (m_tls && !m_broken) {
            SSL_shutdown(m_tls.get());
        }
        close(m_socket);
    }

    bool Accept() {
        m_broken = m_tls && SSL_accept(m_tls.get()) != 1;
        return !m_broken;
    }

    bool Write(std::string_view data) {
        while (!data.empty()) {
            const ssize_t done = m_tls ? SSL_write(m_tls.get(), data.data(), static_cast<int>(data.size()))
                                       : send(m_socket, data.data(), data.size(), MSG_NOSIGNAL);
            if (done <= 0) {
                m_broken = true;
                return false;
            }
            data.remove_prefix(static_cast<std::size_t>(done));
        }
        return true;
    }

    // The next piece; empty at the end.
    std::string Read() {
        std::string piece(kReadPiece, '\0');
        const ssize_t done = m_tls ? SSL_read(m_tls.get(), piece.data(), static_cast<int>(piece.size()))
                                   : recv(m_socket, piece.data(), piece.size(), 0);
        m_broken = m_broken || done < 0;
        piece.resize(done > 0 ? static_cast<std::size_t>(done) : 0);
        return piece;
    }

    // Ends the connection without any good-bye.
    void Break(bool reset) {
        m_broken = true;
        if (reset) {
            const linger now{1, 0};
            setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &now, sizeof(now));
        }
    }

private:
    const int m_socket;
    std::unique_ptr<SSL, FreeTls> m_tls;
    bool m_broken = false;
};

FaultServer::Request ParseHead(std::string_view head) {
    FaultServer::Request request;
    std::istringstream lines{std::string(head)};
    std::string line;
    lines >> request.method >> request.target;
    std::getline(lines, line);
    while (std::getline(lines, line) && line != "\r") {
        const std::size_t colon = line.find(':');
        if (colon == line.npos) {
            continue;
        }
        request.headers.emplace_back(base::Lower(line.substr(0, colon)), base::Trim(line.substr(colon + 1)));
    }
    std::string_view path = request.target;
    if (const std::size_t scheme = path.find("://"); scheme != path.npos) { // asked as a proxy
        path.remove_prefix(std::min(path.find('/', scheme + 3), path.size()));
    }
    request.path = path.substr(0, path.find('?'));
    request.query = path.size() > request.path.size() ? path.substr(request.path.size() + 1) : "";
    return request;
}

// Where the part begins that the request asks for, if it may have one.
std::optional<std::uint64_t> AskedRange(const FaultServer::Request &request, const FaultServer::Answer &answer) {
    constexpr std::string_view unit = "bytes=";
    const auto range = request.Header("range");
    const auto condition = request.Header("if-range");
    if (!answer.honourRange || answer.status != 200 || !range || !range->starts_with(unit) ||
        (condition && *condition != answer.etag)) {
        return std::nullopt;
    }
    return std::strtoull(range->c_str() + unit.size(), nullptr, 10);
}

} // namespace

class FaultServer::Engine {
public:
    explicit Engine(Tls tls);
    ~Engine();

    mutable std::mutex lock;
    mutable std::condition_variable changed;
    std::map<std::string, std::vector<Answer>> answers;
    std::optional<std::filesystem::path> folder;
    Answer manner;
    std::vector<Request> requests;
    std::size_t connections = 0;
    std::string offered;
    std::uint16_t port = 0;
    std::string caFile;

private:
    struct Connection {
        int socket;
        std::thread thread;
        bool ended = false;
    };
    void AcceptAll();
    void Serve(Connection &connection);
    void ServeRequests(Stream &stream);
    std::optional<Request> ReadRequest(Stream &stream, std::string &buffered) const;
    Answer NextAnswer(const Request &request);
    std::optional<Answer> FromFolder(const std::string &path) const;
    bool Reply(Stream &stream, const Request &request, const Answer &answer);
    bool SendBody(Stream &stream, const Answer &answer, std::uint64_t from, std::uint64_t size);
    // False when the server ends before.
    bool Sleep(std::chrono::milliseconds time) const;
    static int ChooseProtocol(SSL *, const unsigned char **chosen, unsigned char *length, const unsigned char *offered,
                              unsigned offeredLength, void *self);

    bool m_stopping = false;
    int m_listener = -1;
    ScopedTlsContext m_context;
    std::list<Connection> m_connections;
    std::thread m_acceptor;
};

FaultServer::Engine::Engine(Tls tls) {
    if (tls != Tls::Off) {
        std::string authority;
        m_context = MakeTlsContext(tls, &authority);
        SSL_CTX_set_alpn_select_cb(m_context.get(), ChooseProtocol, this);
        caFile = (std::filesystem::temp_directory_path() / "fault-server.XXXXXX").string();
        const int file = mkostemp(caFile.data(), O_CLOEXEC);
        EXPECT_EQ(write(file, authority.data(), authority.size()), static_cast<ssize_t>(authority.size()));
        close(file);
    }
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    if (bind(m_listener, reinterpret_cast<sockaddr *>(&address), size) != 0 || listen(m_listener, 128) != 0 ||
        getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &size) != 0) {
        ADD_FAILURE() << "cannot listen on loopback";
        std::abort();
    }
    port = ntohs(address.sin_port);
    // The threads take no signals; a client that is gone shows in the result of the write.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    m_acceptor = std::thread(&Engine::AcceptAll, this);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

FaultServer::Engine::~Engine() {
    {
        const std::lock_guard guard(lock);
        m_stopping = true;
        shutdown(m_listener, SHUT_RDWR);
    }
    changed.notify_all();
    m_acceptor.join();
    {
        const std::lock_guard guard(lock);
        for (const Connection &connection : m_connections) {
            if (!connection.ended) {
                shutdown(connection.socket, SHUT_RDWR);
            }
        }
    }
    for (Connection &connection : m_connections) {
        connection.thread.join();
    }
    close(m_listener);
    if (!caFile.empty()) {
        unlink(caFile.c_str());
    }
}

int FaultServer::Engine::ChooseProtocol(SSL *, const unsigned char **chosen, unsigned char *length,
                                        const unsigned char *offered, unsigned offeredLength, void *self) {
    std::string names;
    int result = SSL_TLSEXT_ERR_NOACK;
    for (unsigned i = 0; i < offeredLength; i += offered[i] + 1) {
        const std::string_view name(reinterpret_cast<const char *>(offered + i + 1), offered[i]);
        names.append(names.empty() ? "" : ",").append(name);
        if (name == "http/1.1") {
            *chosen = offered + i + 1;
            *length = offered[i];
            result = SSL_TLSEXT_ERR_OK;
        }
    }
    auto *const engine = static_cast<Engine *>(self);
    const std::lock_guard guard(engine->lock);
    engine->offered = names;
    return result;
}

void FaultServer::Engine::AcceptAll() {
    while (true) {
        const int socket = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        const std::lock_guard guard(lock);
        if (m_stopping || socket < 0) {
            if (socket >= 0) {
                close(socket);
            }
            return;
        }
        const int on = 1;
        setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        ++connections;
        Connection &connection = m_connections.emplace_back();
        connection.socket = socket;
        connection.thread = std::thread(&Engine::Serve, this, std::ref(connection));
    }
}

void FaultServer::Engine::Serve(Connection &connection) {
    auto stream = std::make_unique<Stream>(connection.socket, m_context.get());
    if (stream->Accept()) {
        ServeRequests(*stream);
    }
    const std::lock_guard guard(lock); // so that no socket is shut down that is somebody else's by then
    connection.ended = true;
    stream.reset();
}

void FaultServer::Engine::ServeRequests(Stream &stream) {
    std::string buffered;
    while (auto request = ReadRequest(stream, buffered)) {
        const Answer answer = NextAnswer(*request);
        if (!Reply(stream, *request, answer)) {
            return;
        }
    }
}

std::optional<FaultServer::Request> FaultServer::Engine::ReadRequest(Stream &stream, std::string &buffered) const {
    std::size_t end;
    while ((end = buffered.find("\r\n\r\n")) == buffered.npos) {
        const std::string more = stream.Read();
        if (more.empty() || buffered.size() > kLongestHead) {
            return std::nullopt;
        }
        buffered += more;
    }
    Request request = ParseHead(std::string_view(buffered).substr(0, end + 4));
    buffered.erase(0, end + 4);
    const std::size_t size = std::strtoull(request.Header("content-length").value_or("0").c_str(), nullptr, 10);
    while (buffered.size() < size) {
        const std::string more = stream.Read();
        if (more.empty()) {
            return std::nullopt;
        }
        buffered += more;
    }
    request.body = buffered.substr(0, size);
    buffered.erase(0, size);
    return request;
}

FaultServer::Answer FaultServer::Engine::NextAnswer(const Request &request) {
    const std::lock_guard guard(lock);
    requests.push_back(request);
    changed.notify_all();
    const auto found = answers.find(request.path);
    if (found == answers.end()) {
        return FromFolder(request.path).value_or(Answer{.status = 404, .body = "not here\n"});
    }
    std::vector<Answer> &list = found->second;
    Answer answer = list.front();
    if (list.size() > 1) {
        list.erase(list.begin());
    }
    return answer;
}

std::optional<FaultServer::Answer> FaultServer::Engine::FromFolder(const std::string &path) const {
    const std::string name = base::PercentDecode(path).value_or("");
    if (!folder || !name.starts_with('/') || (name + "/").find("/../") != name.npos) {
        return std::nullopt;
    }
    base::Result<std::string> content = base::ReadWhole(*folder / name.substr(1), kLargestFile);
    if (!content) {
        return std::nullopt;
    }
    Answer answer = manner;
    answer.body = std::move(*content);
    answer.etag = "\"" + std::to_string(std::hash<std::string>()(answer.body)) + "\"";
    return answer;
}

// True when the connection can serve another request.
bool FaultServer::Engine::Reply(Stream &stream, const Request &request, const Answer &answer) {
    if (answer.delay.count() > 0 && !Sleep(answer.delay)) {
        return false;
    }
    if (answer.raw) {
        stream.Write(*answer.raw);
        return false;
    }
    if (!answer.etag.empty() && request.Header("if-none-match") == answer.etag) {
        return Reply(stream, request, {.status = 304, .headers = answer.headers});
    }
    const std::uint64_t size = answer.patternSize ? answer.patternSize : answer.body.size();
    const std::uint64_t from = AskedRange(request, answer).value_or(0);
    const bool past = from > 0 && from >= size;
    const int status = past ? 416 : AskedRange(request, answer) ? 206 : answer.status;
    const std::uint64_t left = past ? 0 : size - from;

    std::string head = "HTTP/1.1 " + std::to_string(status) + " Answer\r\n";
    if (past) {
        head += "Content-Range: bytes */" + std::to_string(size) + "\r\n";
    } else if (answer.contentRange) {
        head += "Content-Range: " + *answer.contentRange + "\r\n";
    } else if (status == 206) {
        head += "Content-Range: bytes " + std::to_string(from) + "-" + std::to_string(size - 1) + "/" +
                std::to_string(size) + "\r\n";
    }
    const bool untold = answer.length == Length::None || (answer.endless && answer.length == Length::Exact);
    if (answer.length == Length::Chunked) {
        head += "Transfer-Encoding: chunked\r\n";
    } else if (answer.claimedLength || !untold) {
        head += "Content-Length: " + std::to_string(answer.claimedLength.value_or(left)) + "\r\n";
    }
    if (!answer.etag.empty()) {
        head += "ETag: " + answer.etag + "\r\n";
    }
    for (const std::string &line : answer.headers) {
        head += line + "\r\n";
    }
    const bool keep = !untold && !answer.claimedLength;
    head += keep ? "\r\n" : "Connection: close\r\n\r\n";
    if (!stream.Write(head)) {
        return false;
    }
    return request.method == "HEAD" ? keep : SendBody(stream, answer, from, left) && keep;
}

bool FaultServer::Engine::SendBody(Stream &stream, const Answer &answer, std::uint64_t from, std::uint64_t size) {
    using namespace std::chrono;
    const bool chunked = answer.length == Length::Chunked;
    const std::uint64_t end = answer.endless ? UINT64_MAX : size;
    const std::uint64_t stop = std::min(end, answer.dropAfter.value_or(end));
    const std::uint64_t pace = std::max<std::uint64_t>(answer.bytesPerSecond / 100, 1); // bytes in 10 ms
    std::uint64_t sent = 0;
    while (sent < stop) {
        const std::uint64_t piece = std::min<std::uint64_t>(stop - sent, answer.bytesPerSecond ? pace : kPiece);
        const bool pattern = answer.patternSize || answer.endless;
        const std::string data = pattern ? Pattern(piece, from + sent) : answer.body.substr(from + sent, piece);
        std::ostringstream size16;
        size16 << std::hex << data.size() << "\r\n";
        if (!stream.Write(chunked ? size16.str() + data + "\r\n" : data)) {
            return false;
        }
        sent += data.size();
        if (answer.bytesPerSecond && !Sleep(milliseconds(data.size() * 1000 / answer.bytesPerSecond))) {
            return false;
        }
    }
    if (answer.dropAfter) {
        stream.Break(answer.reset);
        return false;
    }
    return !chunked || stream.Write("0\r\n\r\n");
}

bool FaultServer::Engine::Sleep(std::chrono::milliseconds time) const {
    std::unique_lock guard(lock);
    return !changed.wait_for(guard, time, [this] { return m_stopping; });
}

FaultServer::Answer FaultServer::Redirect(std::string location, int status) {
    return {.status = status, .headers = {"Location: " + std::move(location)}};
}

std::optional<std::string> FaultServer::Request::Header(std::string_view name) const {
    for (const auto &[key, value] : headers) {
        if (key == name) {
            return value;
        }
    }
    return std::nullopt;
}

FaultServer::FaultServer(Tls tls) : m_engine(std::make_unique<Engine>(tls)) {}

FaultServer::~FaultServer() = default;

void FaultServer::On(const std::string &path, std::vector<Answer> answers) {
    ASSERT_FALSE(answers.empty());
    const std::lock_guard guard(m_engine->lock);
    m_engine->answers[path] = std::move(answers);
}

void FaultServer::ServeFolder(std::filesystem::path folder, Answer manner) {
    const std::lock_guard guard(m_engine->lock);
    m_engine->folder = std::move(folder);
    m_engine->manner = std::move(manner);
}

void FaultServer::ServeFolder(std::filesystem::path folder) {
    ServeFolder(std::move(folder), Answer());
}

std::uint16_t FaultServer::port() const {
    return m_engine->port;
}

std::string FaultServer::Url(std::string_view path) const {
    return (m_engine->caFile.empty() ? "http" : "https") + ("://127.0.0.1:" + std::to_string(port())).append(path);
}

std::string FaultServer::CaFile() const {
    return m_engine->caFile;
}

std::vector<FaultServer::Request> FaultServer::requests() const {
    const std::lock_guard guard(m_engine->lock);
    return m_engine->requests;
}

std::size_t FaultServer::connections() const {
    const std::lock_guard guard(m_engine->lock);
    return m_engine->connections;
}

std::string FaultServer::OfferedProtocols() const {
    const std::lock_guard guard(m_engine->lock);
    return m_engine->offered;
}

bool FaultServer::WaitForRequests(std::size_t count) const {
    std::unique_lock guard(m_engine->lock);
    return m_engine->changed.wait_for(guard, std::chrono::seconds(20),
                                      [&] { return m_engine->requests.size() >= count; });
}

void FaultServer::ExpectExactly(std::vector<std::string> expected) const {
    std::vector<std::string> actual;
    for (const Request &request : requests()) {
        actual.push_back(request.method + " " + request.path);
    }
    std::sort(actual.begin(), actual.end());
    std::sort(expected.begin(), expected.end());
    std::vector<std::string> surplus, missing;
    std::set_difference(actual.begin(), actual.end(), expected.begin(), expected.end(), std::back_inserter(surplus));
    std::set_difference(expected.begin(), expected.end(), actual.begin(), actual.end(), std::back_inserter(missing));
    for (const std::string &request : surplus) {
        ADD_FAILURE() << "surplus request: " << request;
    }
    for (const std::string &request : missing) {
        ADD_FAILURE() << "missing request: " << request;
    }
}

void FaultServer::ForgetRequests() {
    const std::lock_guard guard(m_engine->lock);
    m_engine->requests.clear();
}

std::string FaultServer::Pattern(std::uint64_t size, std::uint64_t from) {
    std::string bytes(size, '\0');
    for (std::uint64_t i = 0; i < size; ++i) {
        const std::uint64_t mixed = (from + i) * 0x9E3779B97F4A7C15u;
        bytes[i] = static_cast<char>(mixed >> 56);
    }
    return bytes;
}
