// A small web server for one published folder, for demonstrations and tests: loopback only, GET and HEAD.
//
// One thread takes connections and each connection has a thread; a connection serves requests until either side closes
// it or it is idle for some seconds. Replies carry a strong entity tag made from the content, and ranges of bytes are
// served, so that a broken transfer can be resumed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/Result.h"

namespace lumsite {

struct HttpServerOptions {
    std::filesystem::path folder;
    std::uint16_t port = 0; // 0: the system picks one
    // A path such as "/log" whose GET requests are the extension's reports: answered with status 204 and logged with
    // their query decoded. Empty: none.
    std::string logEndpoint;
    // Called with one line, without its end, for every request. From several threads, one at a time.
    std::function<void(const std::string &line)> log = {};
    // Bytes of a file sent in a second, on each connection; 0: as fast as it goes.
    std::uint64_t bytesPerSecond = 0;
};

class HttpServer {
public:
    // Serves until the object is destroyed. Fails when the port is taken or the folder cannot be opened.
    static base::Result<HttpServer> Start(HttpServerOptions options);
    ~HttpServer();
    HttpServer(HttpServer &&) noexcept;

    std::uint16_t port() const;
    // "http://127.0.0.1:PORT/".
    std::string url() const;

private:
    class Listener;
    explicit HttpServer(std::unique_ptr<Listener> listener);

    std::unique_ptr<Listener> m_listener;
};

// The line that is logged for a report: "report ConfID=1 SessionID=2 ...", decoded, control characters as \xNN.
std::string ReportLine(std::string_view query);

} // namespace lumsite
