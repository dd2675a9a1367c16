// A web server on loopback for tests, which misbehaves as it is told and takes down every request.
//
//     FaultServer server;
//     server.On("/lummac.ini", {{.body = "[Kelvo]\n"}});
//     server.On("/a.tgz", {{.body = package, .etag = "\"1\"", .dropAfter = 100}, {.body = package, .etag = "\"1\""}});
//     ... fetch server.Url("/a.tgz?random=5") ...
//     server.ExpectExactly({"GET /lummac.ini", "GET /a.tgz", "GET /a.tgz"});
//
// HTTP/1.1 with kept connections, one thread each. It answers 404 to what it was not told about; since that is taken
// down as well, ExpectExactly finds it. An object of this class belongs to one thread; it may be used while requests
// arrive. The destructor ends all connections, also those that are being trickled to.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class FaultServer {
public:
    enum class Tls {
        Off,
        Good,       // a certificate for 127.0.0.1 and localhost by the authority of CaFile()
        Expired,    // the same, no longer valid
        WrongName,  // the same, for another host
        SelfSigned, // its own issuer, unknown to CaFile()
    };

    enum class Length {
        Exact,
        None,    // none is told; the end of the connection ends the body
        Chunked, // the body comes in chunks; one that breaks off lacks the last
    };

    // One answer. The members are in the order in which designated initialisers name them.
    struct Answer {
        int status = 200;
        std::string body = {};
        std::uint64_t patternSize = 0;         // when not 0: instead of a body, so many bytes of Pattern
        std::string etag = {};                 // as sent, with its quotes; an If-None-Match of it is answered with 304
        std::vector<std::string> headers = {}; // further lines, "Retry-After: 1"

        // A range ("bytes=N-", with an If-Range that is `etag`) of a 200 is answered with 206, or 416 past the end.
        // Without this every answer is the whole.
        bool honourRange = true;
        std::optional<std::string> contentRange = {}; // this Content-Range instead of the true one

        std::chrono::milliseconds delay{0};          // before the first byte
        std::uint64_t bytesPerSecond = 0;            // 0: as fast as it goes
        std::optional<std::uint64_t> dropAfter = {}; // end the connection after so many bytes of body
        bool reset = false;                          // ... by a reset, not by a regular end
        Length length = Length::Exact;
        std::optional<std::uint64_t> claimedLength = {}; // this Content-Length instead of the true one
        bool endless = false;                // the body never ends (no length is told unless one is claimed)
        std::optional<std::string> raw = {}; // these bytes instead of any reply, then the end of the connection
    };
    static Answer Redirect(std::string location, int status = 302);

    struct Request {
        std::string method;
        std::string target; // as sent: "/a?b=c", to a proxy "http://host/a?b=c", for CONNECT "host:443"
        std::string path;   // without query, not decoded
        std::string query;  // after the "?", not decoded; empty without one
        std::vector<std::pair<std::string, std::string>> headers; // names in lower case
        std::string body;

        // The first header of that name (lower case), or nothing.
        std::optional<std::string> Header(std::string_view name) const;
    };

    explicit FaultServer(Tls tls = Tls::Off);
    ~FaultServer();
    FaultServer(const FaultServer &) = delete;
    FaultServer &operator=(const FaultServer &) = delete;

    // The first request of `path` (without query) gets the first answer, and so on; the last one serves all further
    // ones. Told again, it starts from the first.
    void On(const std::string &path, std::vector<Answer> answers);
    // Any other path is looked up in `folder` (percent-decoded, never above it) at each request, and is answered in
    // that `manner` with the file as body and a strong tag made of its content.
    void ServeFolder(std::filesystem::path folder, Answer manner);
    void ServeFolder(std::filesystem::path folder);

    std::uint16_t port() const;
    // "http://127.0.0.1:PORT" + path, or https.
    std::string Url(std::string_view path) const;
    // The authority's certificate (PEM), for a client to trust. With TLS only.
    std::string CaFile() const;

    std::vector<Request> requests() const;
    std::size_t connections() const; // accepted so far
    // The protocols that the last TLS client offered, as "h2,http/1.1".
    std::string OfferedProtocols() const;
    // Waits until so many requests have arrived; false when that takes longer than 20 seconds.
    bool WaitForRequests(std::size_t count) const;
    // Fails the running test unless the requests so far are these ("GET /path", no query), in any order.
    void ExpectExactly(std::vector<std::string> expected) const;
    void ForgetRequests();

    // `size` bytes of a sequence that does not repeat soon, from its place `from`.
    static std::string Pattern(std::uint64_t size, std::uint64_t from = 0);

private:
    class Engine;
    std::unique_ptr<Engine> m_engine;
};
