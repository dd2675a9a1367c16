// One connection of the server: requests in, replies out.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "site/serve/HttpMessage.h"
#include "site/serve/HttpServer.h"
#include "site/serve/PublicFolder.h"

namespace lumsite {

class HttpConversation {
public:
    // `socket` stays the caller's. `log` may be empty.
    // `bytesPerSecond` holds files back to that pace, 0 does not.
    HttpConversation(int socket, PublicFolder &folder, const std::string &logEndpoint, std::uint64_t bytesPerSecond,
                     std::function<void(const std::string &)> log);

    // Until the connection ends.
    void Run();

private:
    struct Reply {
        int status = 200;
        std::string headers; // each with its line end
        std::string body;    // when there is no file
        const PublicFile *file = nullptr;
        ByteRange range;
    };

    // False when no further whole head arrives. `status` is then the refusal to send, or 0.
    bool ReadHead(std::string &head, int &status);
    void Drain();
    void Answer(const HttpRequest &request);
    void AnswerFile(const HttpRequest &request, const PublicFile &file);
    bool AnswerReport(const HttpRequest &request);
    void AnswerWith(const HttpRequest &request, int status, const std::string &headers = "");
    void Send(const HttpRequest &request, const Reply &reply);
    bool SendAll(std::string_view bytes);
    bool SendFile(const PublicFile &file, ByteRange range);

    int m_socket;
    PublicFolder &m_folder;
    const std::string &m_logEndpoint;
    std::uint64_t m_bytesPerSecond;
    std::function<void(const std::string &)> m_log;
    std::string m_received; // beyond the head that was read last
    bool m_goesOn = true;
};

} // namespace lumsite
