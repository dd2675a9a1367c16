#include "site/publish/Page.h"

#include <libxml/HTMLparser.h>
#include <libxml/tree.h>

#include <memory>

namespace lumsite {
namespace {

constexpr std::string_view kType = "application/x-lum";

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

bool Is(const xmlNode *node, const char *name) {
    return node->type == XML_ELEMENT_NODE && xmlStrcasecmp(node->name, reinterpret_cast<const xmlChar *>(name)) == 0;
}

std::string AttributeOf(xmlNode *node, const char *name) {
    const std::unique_ptr<xmlChar, void (*)(xmlChar *)> value(xmlGetProp(node, reinterpret_cast<const xmlChar *>(name)),
                                                              [](xmlChar *text) { xmlFree(text); });
    return value ? reinterpret_cast<const char *>(value.get()) : "";
}

int LineOf(const xmlNode *node) {
    return static_cast<int>(xmlGetLineNo(node));
}

void TakeParameters(xmlNode *node, PageObject &object) {
    for (xmlNode *child = node->children; child; child = child->next) {
        if (Is(child, "param")) {
            object.parameters.insert({AttributeOf(child, "name"), {LineOf(child), AttributeOf(child, "value")}});
        }
        TakeParameters(child, object); // the parser may nest what follows a param
    }
}

void TakeAttributes(xmlNode *node, PageObject &object) {
    for (const xmlAttr *attribute = node->properties; attribute; attribute = attribute->next) {
        const char *name = reinterpret_cast<const char *>(attribute->name);
        object.parameters.insert({name, {object.line, AttributeOf(node, name)}});
    }
}

void TakeObjects(xmlNode *node, std::vector<PageObject> &objects) {
    for (; node; node = node->next) {
        const bool isObject = Is(node, "object");
        if ((isObject || Is(node, "embed")) && AttributeOf(node, "type") == kType) {
            PageObject object{LineOf(node), {}};
            isObject ? TakeParameters(node, object) : TakeAttributes(node, object);
            objects.push_back(std::move(object));
        }
        if (node->type == XML_ELEMENT_NODE) {
            TakeObjects(node->children, objects);
        }
    }
}

} // namespace

std::string PageObject::Value(const std::string &name) const {
    const auto found = parameters.find(name);
    return found == parameters.end() ? "" : found->second.value;
}

std::string WritePage(std::string_view title, const std::map<std::string, std::string> &parameters) {
    std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" +
                       Escape(title) + "</title>\n</head>\n<body>\n<object type=\"" + std::string(kType) +
                       "\" width=\"1\" height=\"1\">\n";
    for (const auto &[name, value] : parameters) {
        html += "<param name=\"" + Escape(name) + "\" value=\"" + Escape(value) + "\">\n";
    }
    return html + "</object>\n</body>\n</html>\n";
}

std::vector<PageObject> ReadPage(const std::string &html) {
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> page(
        htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr, nullptr,
                       HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET | HTML_PARSE_RECOVER),
        xmlFreeDoc);
    std::vector<PageObject> objects;
    if (page) {
        TakeObjects(page->children, objects);
    }
    return objects;
}

} // namespace lumsite
