#include "site/serve/HttpReply.h"

#include <algorithm>

#include <microhttpd.h>

#include "base/Text.h"
#include "site/serve/HttpServer.h"

namespace lumsite {

namespace {

HttpReply FileReply(const HttpRequest &request, PublicFile file) {
    HttpReply reply;
    reply.headers = {{"ETag", file.tag},
                     {"Last-Modified", HttpDate(file.modified)},
                     {"Accept-Ranges", "bytes"},
                     {"Cache-Control", "no-cache"},
                     {"X-Content-Type-Options", "nosniff"}};
    if (!request.ifNoneMatch.empty() && HoldsTag(request.ifNoneMatch, file.tag, true)) {
        return StatusReply(304, std::move(reply.headers));
    }
    reply.range = {0, file.size};
    // A date is too coarse to resume by: only the tag of the very content counts.
    if (request.method == "GET" && (request.ifRange.empty() || request.ifRange == file.tag)) {
        ByteRange range;
        const std::string size = std::to_string(file.size);
        switch (ParseRange(request.range, file.size, range)) {
        case RangeKind::Whole:
            break;
        case RangeKind::Part:
            reply.status = 206;
            reply.range = range;
            reply.headers.emplace_back("Content-Range", "bytes " + std::to_string(range.first) + "-" +
                                                            std::to_string(range.first + range.length - 1) + "/" +
                                                            size);
            break;
        case RangeKind::Unsatisfiable:
            return StatusReply(416, {{"Content-Range", "bytes */" + size}});
        }
    }
    reply.headers.emplace_back("Content-Type", ContentType(file.name));
    reply.file = std::move(file);
    return reply;
}

} // namespace

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

std::optional<std::string_view> ReportQuery(const HttpRequest &request, std::string_view endpoint) {
    if (endpoint.empty() || request.method != "GET" || !request.target.starts_with(endpoint)) {
        return std::nullopt;
    }
    const std::string_view rest = std::string_view(request.target).substr(endpoint.size());
    // The report of the download time begins its fields with "&" even where there is no "?".
    if (!rest.empty() && rest.front() != '?' && rest.front() != '&') {
        return std::nullopt;
    }
    return rest.substr(rest.empty() ? 0 : 1);
}

HttpReply StatusReply(int status, std::vector<std::pair<std::string, std::string>> headers) {
    HttpReply reply;
    reply.status = status;
    reply.headers = std::move(headers);
    if (status != 204 && status != 304) {
        reply.headers.emplace_back("Content-Type", "text/plain; charset=utf-8");
        reply.body = std::to_string(status) + " " + MHD_get_reason_phrase_for(static_cast<unsigned int>(status)) + "\n";
    }
    return reply;
}

HttpReply Answer(const HttpRequest &request, PublicFolder &folder) {
    if (request.method != "GET" && request.method != "HEAD") {
        return StatusReply(405, {{"Allow", "GET, HEAD"}});
    }
    const std::string encoded = request.target.substr(0, request.target.find_first_of("?#"));
    const std::optional<std::string> path = base::PercentDecode(encoded);
    if (!path) {
        return StatusReply(400);
    }
    PublicFile file;
    switch (folder.Find(*path, file)) {
    case PublicFolder::Outcome::File:
        return FileReply(request, std::move(file));
    case PublicFolder::Outcome::FolderWithoutSlash: // two slashes would name another host
        return StatusReply(301, {{"Location", "/" + encoded.substr(encoded.find_first_not_of('/')) + "/"}});
    case PublicFolder::Outcome::Absent:
        return StatusReply(404);
    case PublicFolder::Outcome::Unreadable:
        break;
    }
    return StatusReply(500);
}

} // namespace lumsite
