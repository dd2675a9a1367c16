// What a request for a file or a report is answered with.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "site/serve/HttpFields.h"
#include "site/serve/PublicFolder.h"

namespace lumsite {

struct HttpRequest {
    std::string method;
    std::string target; // as sent: path and query, percent-encoded, or with blanks
    std::string range;  // the header fields of these names; empty when there are none
    std::string ifRange;
    std::string ifNoneMatch;
};

struct HttpReply {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body; // when there is no file
    PublicFile file;  // without a descriptor when there is none
    ByteRange range;  // of the file
};

HttpReply StatusReply(int status, std::vector<std::pair<std::string, std::string>> headers = {});
HttpReply Answer(const HttpRequest &request, PublicFolder &folder);

// The query of a report: of a GET request for `endpoint`, or for it with a query. Null for any other request.
std::optional<std::string_view> ReportQuery(const HttpRequest &request, std::string_view endpoint);

// Text for one log line: what could break or forge one is escaped.
std::string Printable(std::string_view text);

} // namespace lumsite
