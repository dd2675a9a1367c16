#include "site/serve/HttpConversation.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <thread>

#include "base/Text.h"

namespace lumsite {

namespace {

constexpr std::size_t kLongestHead = 16384;

// Text for one log line: what could break or forge one is escaped.
std::string Printable(std::string_view text) {
    std::string printable;
    for (const char c : text) {
        const unsigned char byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            printable += "\\x" + base::ToHex({&c, 1});
        } else {
            printable += c;
        }
    }
    return printable;
}

} // namespace

std::string ReportLine(std::string_view query) {
    std::string line = "report";
    while (!query.empty()) {
        const std::string_view field = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(query.size(), field.size() + 1));
        if (!field.empty()) {
            line += " " + Printable(base::PercentDecode(field).value_or(std::string(field)));
        }
    }
    return line;
}

HttpConversation::HttpConversation(int socket, PublicFolder &folder, const std::string &logEndpoint,
                                   std::uint64_t bytesPerSecond, std::function<void(const std::string &)> log)
    : m_socket(socket), m_folder(folder), m_logEndpoint(logEndpoint), m_bytesPerSecond(bytesPerSecond),
      m_log(std::move(log)) {}

bool HttpConversation::ReadHead(std::string &head, int &status) {
    constexpr std::string_view end = "\r\n\r\n";
    status = 0;
    for (;;) {
        m_received.erase(0, m_received.find_first_not_of("\r\n")); // blank lines before a request are allowed
        const std::size_t at = m_received.find(end);
        if (at != std::string::npos) {
            head = m_received.substr(0, at + end.size());
            m_received.erase(0, head.size());
            return true;
        }
        if (m_received.size() > kLongestHead) {
            status = 431;
            return false;
        }
        std::array<char, 4096> block;
        const ssize_t count = recv(m_socket, block.data(), block.size(), 0);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            status = count < 0 && !m_received.empty() ? 408 : 0;
            return false;
        }
        m_received.append(block.data(), static_cast<std::size_t>(count));
    }
}

void HttpConversation::Run() {
    std::string head;
    int refusal = 0;
    while (m_goesOn && ReadHead(head, refusal)) {
        const std::optional<HttpRequest> request = ParseRequest(head);
        if (!request) {
            refusal = 400;
            break;
        }
        // A body is never asked for, and what follows it could not be told from a request.
        m_goesOn = request->WantsToGoOn() && !request->HasBody();
        Answer(*request);
        if (request->HasBody()) {
            Drain();
        }
    }
    if (refusal != 0) {
        m_goesOn = false;
        AnswerWith({"-", "-", true, {}}, refusal);
    }
}

// Takes some of an unwanted body in: closing a connection with bytes unread would take the reply back.
void HttpConversation::Drain() {
    shutdown(m_socket, SHUT_WR);
    std::array<char, 16384> block;
    for (int i = 0; i < 64 && recv(m_socket, block.data(), block.size(), 0) > 0; ++i) {
    }
}

void HttpConversation::Answer(const HttpRequest &request) {
    if (request.method != "GET" && request.method != "HEAD") {
        AnswerWith(request, 405, "Allow: GET, HEAD\r\n");
        return;
    }
    if (AnswerReport(request)) {
        return;
    }
    const std::string_view target(request.target);
    const std::optional<std::string> path = base::PercentDecode(target.substr(0, target.find_first_of("?#")));
    if (!path) {
        AnswerWith(request, 400);
        return;
    }
    PublicFile file;
    switch (m_folder.Find(*path, file)) {
    case PublicFolder::Outcome::File:
        AnswerFile(request, file);
        return;
    case PublicFolder::Outcome::FolderWithoutSlash: {
        const std::string encoded(target.substr(0, target.find_first_of("?#")));
        // Two slashes would name another host.
        AnswerWith(request, 301, "Location: /" + encoded.substr(encoded.find_first_not_of('/')) + "/\r\n");
        return;
    }
    case PublicFolder::Outcome::Absent:
        AnswerWith(request, 404);
        return;
    case PublicFolder::Outcome::Unreadable:
        AnswerWith(request, 500);
        return;
    }
}

bool HttpConversation::AnswerReport(const HttpRequest &request) {
    const std::string_view target(request.target);
    if (m_logEndpoint.empty() || request.method != "GET" || !target.starts_with(m_logEndpoint)) {
        return false;
    }
    // The report of the download's time begins its fields with "&" even where there is no "?".
    const std::string_view rest = target.substr(m_logEndpoint.size());
    if (!rest.empty() && rest.front() != '?' && rest.front() != '&') {
        return false;
    }
    if (m_log) {
        m_log(ReportLine(rest.empty() ? rest : rest.substr(1)));
    }
    AnswerWith(request, 204);
    return true;
}

void HttpConversation::AnswerFile(const HttpRequest &request, const PublicFile &file) {
    Reply reply;
    reply.headers = "ETag: " + file.tag + "\r\nLast-Modified: " + HttpDate(file.modified) +
                    "\r\nAccept-Ranges: bytes\r\nCache-Control: no-cache\r\nX-Content-Type-Options: nosniff\r\n";
    const std::string_view known = request.Header("if-none-match");
    if (!known.empty() && HoldsTag(known, file.tag, true)) {
        AnswerWith(request, 304, reply.headers);
        return;
    }
    reply.file = &file;
    reply.range = {0, file.size};
    // A date is too coarse to resume by: only the tag of the very content counts.
    const std::string_view onlyIf = request.Header("if-range");
    if (request.method == "GET" && (onlyIf.empty() || onlyIf == file.tag)) {
        switch (ParseRange(request.Header("range"), file.size, reply.range)) {
        case RangeKind::Whole:
            reply.range = {0, file.size};
            break;
        case RangeKind::Part:
            reply.status = 206;
            reply.headers += "Content-Range: bytes " + std::to_string(reply.range.first) + "-" +
                             std::to_string(reply.range.first + reply.range.length - 1) + "/" +
                             std::to_string(file.size) + "\r\n";
            break;
        case RangeKind::Unsatisfiable:
            AnswerWith(request, 416, "Content-Range: bytes */" + std::to_string(file.size) + "\r\n");
            return;
        }
    }
    reply.headers += "Content-Type: " + std::string(ContentType(file.name)) + "\r\n";
    Send(request, reply);
}

void HttpConversation::AnswerWith(const HttpRequest &request, int status, const std::string &headers) {
    Reply reply;
    reply.status = status;
    reply.headers = headers;
    if (status != 204 && status != 304) {
        reply.headers += "Content-Type: text/plain; charset=utf-8\r\n";
        reply.body = std::to_string(status) + " " + std::string(ReasonOf(status)) + "\n";
    }
    Send(request, reply);
}

void HttpConversation::Send(const HttpRequest &request, const Reply &reply) {
    const std::uint64_t length = reply.file ? reply.range.length : reply.body.size();
    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " " + std::string(ReasonOf(reply.status)) +
                       "\r\nDate: " + HttpDate(std::time(nullptr)) + "\r\n" + reply.headers;
    if (reply.status != 204 && reply.status != 304) {
        head += "Content-Length: " + std::to_string(length) + "\r\n";
    }
    head += m_goesOn ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n";
    // Told before it is sent: whoever has the reply finds its line.
    if (m_log) {
        m_log("127.0.0.1 \"" + Printable(request.method + " " + request.target) + "\" " + std::to_string(reply.status) +
              " " + std::to_string(length));
    }
    bool sent = SendAll(head);
    if (sent && request.method != "HEAD") {
        sent = reply.file ? SendFile(*reply.file, reply.range) : SendAll(reply.body);
    }
    m_goesOn = m_goesOn && sent;
}

bool HttpConversation::SendAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool HttpConversation::SendFile(const PublicFile &file, ByteRange range) {
    constexpr unsigned pausesInASecond = 10;
    std::array<char, 65536> block;
    const std::uint64_t most = m_bytesPerSecond
                                   ? std::clamp<std::uint64_t>(m_bytesPerSecond / pausesInASecond, 1, block.size())
                                   : block.size();
    while (range.length > 0) {
        if (m_bytesPerSecond) {
            std::this_thread::sleep_for(std::chrono::milliseconds(most * 1000 / m_bytesPerSecond));
        }
        const ssize_t count = pread(file.descriptor.get(), block.data(), std::min<std::uint64_t>(most, range.length),
                                    static_cast<off_t>(range.first));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0 || !SendAll({block.data(), static_cast<std::size_t>(count)})) {
            return false;
        }
        range.first += static_cast<std::uint64_t>(count);
        range.length -= static_cast<std::uint64_t>(count);
    }
    return true;
}

} // namespace lumsite
