#include "site/serve/HttpServer.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <thread>

#include "base/Digest.h"
#include "base/Files.h"
#include "site/serve/HttpFields.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using namespace lumsite;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

base::ScopedDescriptor Connect(std::uint16_t port) {
    base::ScopedDescriptor socket(::socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(socket.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    return socket;
}

// Sends these bytes and reads until the server closes.
std::string Talk(std::uint16_t port, const std::string &bytes) {
    const base::ScopedDescriptor socket = Connect(port);
    EXPECT_EQ(send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    std::string reply;
    char block[4096];
    for (ssize_t count; (count = recv(socket.get(), block, sizeof block, 0)) > 0;) {
        reply.append(block, static_cast<std::size_t>(count));
    }
    return reply;
}

class Server : public testing::Test {
protected:
    Server() {
        place.Write("outside.txt", "secret");
        place.Write("site/index.html", "<p>start</p>");
        place.Write("site/packages/a.tar.gz", "0123456789");
        place.Write("site/packages/a b.txt", "blank");
        place.Write("site/.lumsite-lock", "");
        place.Write("site/packages/.new-1-abcdef", "secret");
        fs::create_symlink("../outside.txt", place / "site/link.txt");
        fs::create_directory_symlink("..", place / "site/up");
        fs::create_symlink("packages", place / "site/inner");
        EXPECT_EQ(mkfifo((place / "site/pipe").c_str(), 0600), 0);
        server.emplace(
            HttpServer::Start({place / "site", 0, "/log", [this](const std::string &line) { lines.push_back(line); }})
                .value());
    }

    std::string Get(const std::string &target, const std::string &headers = "",
                    const std::string &method = "GET") const {
        return Talk(server->port(),
                    method + " " + target + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n" + headers + "\r\n");
    }
    static std::string HeaderOf(const std::string &reply, const std::string &name) {
        const std::size_t at = reply.find("\r\n" + name + ": ");
        const std::size_t start = at + name.size() + 4;
        return at == std::string::npos ? "" : reply.substr(start, reply.find("\r\n", start) - start);
    }
    static std::string BodyOf(const std::string &reply) {
        return reply.substr(reply.find("\r\n\r\n") + 4);
    }

    TempDir place;
    std::vector<std::string> lines;
    std::optional<HttpServer> server;
};

} // namespace

TEST_F(Server, ServesFilesWithTypeAndTag) {
    const std::string reply = Get("/packages/a.tar.gz?random=17");
    EXPECT_THAT(reply, AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), EndsWith("\r\n\r\n0123456789")));
    EXPECT_EQ(HeaderOf(reply, "Content-Length"), "10");
    EXPECT_EQ(HeaderOf(reply, "Content-Type"), "application/gzip");
    EXPECT_EQ(HeaderOf(reply, "ETag"), "\"" + base::DigestOfFile(place / "site/packages/a.tar.gz").value() + "\"");
    EXPECT_EQ(BodyOf(Get("/")), "<p>start</p>");
    EXPECT_EQ(HeaderOf(Get("/"), "Content-Type"), "text/html; charset=utf-8");
    EXPECT_EQ(BodyOf(Get("/packages/a%20b.txt")), "blank");
    EXPECT_EQ(HeaderOf(Get("/packages"), "Location"), "/packages/");

    const std::string head = Get("/packages/a.tar.gz", "Range: bytes=2-3\r\n", "HEAD");
    EXPECT_THAT(head, AllOf(StartsWith("HTTP/1.1 200"), EndsWith("\r\n\r\n")));
    EXPECT_EQ(HeaderOf(head, "Content-Length"), "10");
}

TEST_F(Server, NothingOutsideTheFolderIsReached) {
    for (const char *target : {"/../outside.txt",
                               "/%2e%2e/outside.txt",
                               "/packages/../../outside.txt",
                               "/packages/%2e%2e%2f%2e%2e%2foutside.txt",
                               "/..%2foutside.txt",
                               "/link.txt",
                               "/up/outside.txt",
                               "/inner/a.tar.gz",
                               "/.lumsite-lock",
                               "/packages/.new-1-abcdef",
                               "/./index.html",
                               "//etc/passwd",
                               "/packages//a.tar.gz",
                               "/packages/a.tar.gz/",
                               "/packages/a.tar.gz/x",
                               "/packages/",
                               "/pipe",
                               "/index.html%00.txt",
                               "/none",
                               "*",
                               "http://x/index.html",
                               "/packages\\a.tar.gz"}) {
        EXPECT_THAT(Get(target), AllOf(StartsWith("HTTP/1.1 404"), Not(HasSubstr("secret")))) << target;
    }
    EXPECT_THAT(Get("/%zz"), StartsWith("HTTP/1.1 400"));
    EXPECT_THAT(Get("/%2"), StartsWith("HTTP/1.1 400"));
}

TEST_F(Server, RangesAndConditions) {
    const std::string tag = HeaderOf(Get("/packages/a.tar.gz"), "ETag");
    const std::string date = HeaderOf(Get("/packages/a.tar.gz"), "Last-Modified");
    struct Case {
        std::string headers;
        int status;
        std::string body;
        std::string range;
    };
    const Case cases[] = {
        {"Range: bytes=0-3\r\n", 206, "0123", "bytes 0-3/10"},
        {"Range: bytes=4-\r\n", 206, "456789", "bytes 4-9/10"},
        {"Range: bytes=-3\r\n", 206, "789", "bytes 7-9/10"},
        {"Range: bytes=-30\r\n", 206, "0123456789", "bytes 0-9/10"},
        {"Range: bytes=9-99\r\n", 206, "9", "bytes 9-9/10"},
        {"Range: bytes=10-\r\n", 416, "416 Range Not Satisfiable\n", "bytes */10"},
        {"Range: bytes=-0\r\n", 416, "416 Range Not Satisfiable\n", "bytes */10"},
        {"Range: bytes=3-2\r\n", 200, "0123456789", ""},
        {"Range: bytes=0-1,4-5\r\n", 200, "0123456789", ""},
        {"Range: bytes=x-\r\n", 200, "0123456789", ""},
        {"Range: lines=0-1\r\n", 200, "0123456789", ""},
        {"Range: bytes=4-\r\nIf-Range: " + tag + "\r\n", 206, "456789", "bytes 4-9/10"},
        {"Range: bytes=4-\r\nIf-Range: W/" + tag + "\r\n", 200, "0123456789", ""},
        {"Range: bytes=4-\r\nIf-Range: \"other\"\r\n", 200, "0123456789", ""},
        {"Range: bytes=4-\r\nIf-Range: " + date + "\r\n", 200, "0123456789", ""},
        {"If-None-Match: \"x\", W/" + tag + "\r\n", 304, "", ""},
        {"If-None-Match: *\r\nRange: bytes=0-1\r\n", 304, "", ""},
        {"If-None-Match: \"x\"\r\n", 200, "0123456789", ""},
    };
    for (const Case &each : cases) {
        const std::string reply = Get("/packages/a.tar.gz", each.headers);
        EXPECT_THAT(reply, StartsWith("HTTP/1.1 " + std::to_string(each.status))) << each.headers;
        EXPECT_EQ(BodyOf(reply), each.body) << each.headers;
        EXPECT_EQ(HeaderOf(reply, "Content-Range"), each.range) << each.headers;
    }
}

TEST_F(Server, ATagChangesWithTheContentOnly) {
    const std::string tag = HeaderOf(Get("/packages/a.tar.gz"), "ETag");
    fs::last_write_time(place / "site/packages/a.tar.gz", fs::file_time_type::clock::now() - std::chrono::hours(9));
    EXPECT_EQ(HeaderOf(Get("/packages/a.tar.gz"), "ETag"), tag);
    ASSERT_TRUE(base::ReplaceFile(place / "site/packages/a.tar.gz", "9876543210")); // as long as before
    EXPECT_NE(HeaderOf(Get("/packages/a.tar.gz"), "ETag"), tag);
}

TEST_F(Server, AConnectionServesSeveralRequests) {
    const std::string request = "GET /packages/a.tar.gz HTTP/1.1\r\nHost: x\r\n\r\n";
    const std::string twice =
        Talk(server->port(),
             request + "\r\n" + request + "HEAD / HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\nGET / HTTP/1.1\r\n");
    std::size_t replies = 0;
    for (std::size_t at = 0; (at = twice.find("HTTP/1.1 200 OK", at)) != std::string::npos; ++at) {
        ++replies;
    }
    EXPECT_EQ(replies, 3u);
    EXPECT_THAT(Talk(server->port(), "GET / HTTP/1.0\r\n\r\n"), HasSubstr("Connection: close"));
}

TEST_F(Server, MalformedRequestsAreRefused) {
    const std::pair<std::string, int> cases[] = {
        {"GET /\r\n\r\n", 400},
        {"GET / HTTP/2.0\r\nHost: x\r\n\r\n", 505},
        {"GET / HTTP/1.1\r\n\r\n", 400}, // without Host
        {"GET / HTTP/1.1\r\nHost : x\r\n\r\n", 400},
        {"GET / HTTP/1.1\r\nX: a\r\n folded\r\n\r\n", 400},
        {"GET / HTTP/1.1\r\nX: " + std::string(20000, 'x'), 431},
        {"POST /log HTTP/1.1\r\nHost: x\r\nContent-Length: 30\r\n\r\nGET /index.html HTTP/1.1\r\n\r\n1234", 405},
        {"DELETE /index.html HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n", 405},
    };
    for (const auto &[bytes, status] : cases) {
        const std::string reply = Talk(server->port(), bytes);
        EXPECT_THAT(reply, StartsWith("HTTP/1.1 " + std::to_string(status))) << bytes.substr(0, 40);
        EXPECT_EQ(reply.find("HTTP/1.1", 1), std::string::npos) << "a body was taken for a request";
    }
}

TEST_F(Server, ReportsAreToldDecodedOneLineEach) {
    EXPECT_THAT(Get("/log?ConfID=7&SessionID=a%20b&Module=1&ErrorCode=1001&OptInfo3=no%20error"),
                StartsWith("HTTP/1.1 204"));
    Get("/log&ConfID=7&RefNum5=12"); // the report of the download's time
    Get("/log?a=1%0Aforged%20line&b=%zz&c=two words");
    Get("/log?x", "", "HEAD");
    Get("/logo?x");
    std::vector<std::string> reports;
    for (const std::string &line : lines) {
        EXPECT_EQ(line.find('\n'), std::string::npos);
        if (line.starts_with("report")) {
            reports.push_back(line);
        }
    }
    EXPECT_THAT(reports, ElementsAre("report ConfID=7 SessionID=a b Module=1 ErrorCode=1001 OptInfo3=no error",
                                     "report ConfID=7 RefNum5=12", "report a=1\\x0aforged line b=%zz c=two words"));
    EXPECT_THAT(lines, testing::Contains("127.0.0.1 \"GET /logo?x\" 404 14"));
}

TEST_F(Server, ManyVisitorsAtOnce) {
    const std::string large(3 << 20, 'x');
    place.Write("site/packages/large.zip", large);
    const base::ScopedDescriptor idle = Connect(server->port()); // sends nothing, and holds nobody up
    const base::ScopedDescriptor slow = Connect(server->port());
    const std::string request = "GET /packages/large.zip HTTP/1.1\r\nHost: x\r\n\r\n";
    ASSERT_GT(send(slow.get(), request.data(), request.size(), 0), 0); // and reads nothing
    std::atomic<int> whole = 0;
    std::vector<std::thread> visitors;
    for (int i = 0; i < 16; ++i) {
        visitors.emplace_back([&] {
            for (int k = 0; k < 3; ++k) {
                whole += BodyOf(Get("/packages/large.zip")) == large;
            }
        });
    }
    for (std::thread &visitor : visitors) {
        visitor.join();
    }
    EXPECT_EQ(whole, 48);
    server.reset(); // ends at once, with two connections open
}

TEST_F(Server, LoopbackOnlyAndAPortOfItsOwn) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    const base::ScopedDescriptor socket = Connect(server->port());
    ASSERT_EQ(getpeername(socket.get(), reinterpret_cast<sockaddr *>(&address), &length), 0);
    EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
    const base::Result<HttpServer> second = HttpServer::Start({place / "site", server->port(), "", {}});
    ASSERT_FALSE(second) << "the port was taken twice";
    EXPECT_THAT(second.error().text, HasSubstr("is in use"));
    EXPECT_FALSE(HttpServer::Start({place / "none", 0, "", {}}));
}

TEST(HttpMessage, DatesAreInEnglishWhateverTheLocale) {
    EXPECT_EQ(HttpDate(784111777), "Sun, 06 Nov 1994 08:49:37 GMT");
}
