#include "delivery/page/PageObjects.h"

#include <libxml/HTMLparser.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "base/Ascii.h"
#include "base/Text.h"
#include "delivery/page/ReadablePart.h"

namespace delivery {

namespace {

// The parser looks through all open elements for every end tag, so that a page of open elements would take hours.
constexpr int kDeepest = 1000;

std::string_view Text(const xmlChar *text) {
    return text ? std::string_view(reinterpret_cast<const char *>(text)) : std::string_view();
}

bool Same(std::string_view a, std::string_view b) {
    return base::EqualsIgnoringCase(a, b);
}

// The value of an attribute, empty when it has none; null when there is no such attribute.
const xmlChar *FindAttribute(const xmlChar **attributes, std::string_view name) {
    static const xmlChar kEmpty[] = "";
    for (; attributes && attributes[0]; attributes += 2) {
        if (Same(Text(attributes[0]), name)) {
            return attributes[1] ? attributes[1] : kEmpty;
        }
    }
    return nullptr;
}

// Follows the parser's events. No tree is built, so the size of a page costs time only.
class ObjectReader {
public:
    ObjectReader(htmlParserCtxt *parser, std::size_t most) : m_parser(parser), m_most(most) {}

    static void StartElement(void *self, const xmlChar *name, const xmlChar **attributes) {
        static_cast<ObjectReader *>(self)->Start(Text(name), attributes);
    }
    static void EndElement(void *self, const xmlChar *name) {
        static_cast<ObjectReader *>(self)->End(Text(name));
    }
    std::vector<PageObject> Take() {
        return std::move(m_objects);
    }

private:
    void Start(std::string_view element, const xmlChar **attributes) {
        if (m_depth == 0 && m_objects.size() >= m_most) {
            return; // the parser has been stopped
        }
        if (m_depth > 0) {
            StartInObject(element, attributes);
        } else if (Same(base::Trim(Text(FindAttribute(attributes, "type"))), kObjectType)) {
            StartObject(element, attributes);
        }
        if (m_parser->nameNr > kDeepest) {
            xmlStopParser(m_parser);
        }
    }

    void StartObject(std::string_view element, const xmlChar **attributes) {
        const bool isEmbed = Same(element, "embed");
        if (!isEmbed && !Same(element, "object")) {
            return;
        }
        m_objects.push_back({Line(), isEmbed, {}});
        if (!isEmbed) {
            m_depth = 1;
            return;
        }
        for (; attributes[0]; attributes += 2) {
            Add(Text(attributes[0]), Text(attributes[1]));
        }
        StopAtMost();
    }

    void StartInObject(std::string_view element, const xmlChar **attributes) {
        if (Same(element, "object")) {
            ++m_depth;
        } else if (m_depth == 1 && Same(element, "param")) {
            if (const xmlChar *name = FindAttribute(attributes, "name")) {
                Add(Text(name), Text(FindAttribute(attributes, "value")));
            }
        }
    }

    void End(std::string_view element) {
        if (m_depth > 0 && Same(element, "object") && --m_depth == 0) {
            StopAtMost();
        }
    }

    void Add(std::string_view name, std::string_view value) {
        m_objects.back().parameters.push_back({std::string(name), std::string(value), Line()});
    }
    int Line() const {
        return m_parser->input ? m_parser->input->line : 0;
    }
    void StopAtMost() {
        if (m_objects.size() >= m_most) {
            m_depth = 0;
            xmlStopParser(m_parser);
        }
    }

    htmlParserCtxt *const m_parser;
    const std::size_t m_most;
    int m_depth = 0; // objects that are open, counted from the one that is read
    std::vector<PageObject> m_objects;
};

struct FreeParser {
    void operator()(htmlParserCtxt *parser) const {
        htmlFreeParserCtxt(parser);
    }
};

} // namespace

const PageParameter *PageObject::Find(std::string_view name) const {
    const auto found = std::ranges::find_if(parameters, [&](const PageParameter &parameter) {
        return isEmbed ? Same(parameter.name, name) : parameter.name == name;
    });
    return found == parameters.end() ? nullptr : &*found;
}

std::string PageObject::Value(std::string_view name) const {
    const PageParameter *parameter = Find(name);
    return parameter ? parameter->value : std::string();
}

std::vector<PageObject> ReadObjects(std::string_view page, std::size_t most) {
    const std::string_view html = ReadablePart(page);
    const std::unique_ptr<htmlParserCtxt, FreeParser> parser(htmlNewParserCtxt());
    if (!parser || !parser->sax) {
        return {};
    }
    ObjectReader reader(parser.get(), most);
    *parser->sax = {};
    parser->sax->startElement = ObjectReader::StartElement;
    parser->sax->endElement = ObjectReader::EndElement;
    parser->userData = &reader;
    constexpr int kOptions = HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET;
    const xmlDocPtr document = htmlCtxtReadMemory(parser.get(), html.data(), static_cast<int>(html.size()), nullptr,
                                                  base::IsUtf8(html) ? "UTF-8" : nullptr, kOptions);
    if (document) {
        xmlFreeDoc(document);
    }
    return reader.Take();
}

} // namespace delivery
