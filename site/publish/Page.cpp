#include "site/publish/Page.h"

#include "delivery/page/PageObjects.h"

namespace lumsite {
namespace {

std::string Escape(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

} // namespace

std::string WritePage(std::string_view title, const std::map<std::string, std::string> &parameters) {
    std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" +
                       Escape(title) + "</title>\n</head>\n<body>\n<object type=\"" +
                       std::string(delivery::kObjectType) + "\" width=\"1\" height=\"1\">\n";
    for (const auto &[name, value] : parameters) {
        html += "<param name=\"" + Escape(name) + "\" value=\"" + Escape(value) + "\">\n";
    }
    return html + "</object>\n</body>\n</html>\n";
}

} // namespace lumsite
