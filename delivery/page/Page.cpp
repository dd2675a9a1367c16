#include "delivery/page/Page.h"

#include <libxml/HTMLparser.h>

#include <algorithm>
#include <memory>

#include "delivery/page/ReadablePart.h"
#include "base/Ascii.h"
#include "base/Text.h"

namespace delivery {

namespace {

constexpr std::string_view kType = "application/x-lum";

// A page is read no further when so many elements are open at once: the parser looks through all of them for every end
// tag, so that a page of such tags would take hours.
constexpr int kDeepest = 1000;

std::string_view Text(const xmlChar *text) {
    return text ? std::string_view(reinterpret_cast<const char *>(text)) : std::string_view();
}

bool Same(std::string_view a, std::string_view b) {
    return base::EqualsIgnoringCase(a, b);
}

// Follows the parser's events until the object has been read. No tree is built, so the size of a page costs time only.
class ObjectReader {
public:
    void Start(std::string_view element, const xmlChar **attributes) {
        if (m_ended) {
            return;
        }
        if (m_depth == 0) {
            Open(element, attributes);
        } else if (Same(element, "object")) {
            ++m_depth; // an object in the object has parameters of its own
        } else if (m_depth == 1 && Same(element, "param")) {
            if (const xmlChar *name = Find(attributes, "name")) {
                m_parameters.emplace_back(Text(name), Text(Find(attributes, "value")));
            }
        }
    }

    void End(std::string_view element) {
        if (m_depth > 0 && Same(element, "object") && --m_depth == 0) {
            m_ended = true;
        }
    }

    bool ended() const {
        return m_ended;
    }
    bool found() const {
        return m_ended || m_depth > 0;
    } // a page that breaks off within the object counts
    std::vector<std::pair<std::string, std::string>> &parameters() {
        return m_parameters;
    }

private:
    static const xmlChar *Find(const xmlChar **attributes, std::string_view name) {
        static const xmlChar kEmpty[] = "";
        for (; attributes && attributes[0]; attributes += 2) {
            if (Same(Text(attributes[0]), name)) {
                return attributes[1] ? attributes[1] : kEmpty;
            }
        }
        return nullptr;
    }

    void Open(std::string_view element, const xmlChar **attributes) {
        const bool embed = Same(element, "embed");
        if ((!embed && !Same(element, "object")) || !Same(base::Trim(Text(Find(attributes, "type"))), kType)) {
            return;
        }
        if (!embed) {
            m_depth = 1;
            return;
        }
        for (; attributes[0]; attributes += 2) {
            m_parameters.emplace_back(Text(attributes[0]), Text(attributes[1]));
        }
        m_ended = true;
    }

    int m_depth = 0; // objects that are open, counted from the one that is read
    bool m_ended = false;
    std::vector<std::pair<std::string, std::string>> m_parameters;
};

struct FreeParser {
    void operator()(htmlParserCtxt *parser) const {
        htmlFreeParserCtxt(parser);
    }
};

struct Reading {
    ObjectReader object;
    htmlParserCtxt *parser;
};

void StartElement(void *context, const xmlChar *name, const xmlChar **attributes) {
    auto &reading = *static_cast<Reading *>(context);
    reading.object.Start(Text(name), attributes);
    if (reading.object.ended() || reading.parser->nameNr > kDeepest) {
        xmlStopParser(reading.parser);
    }
}

void EndElement(void *context, const xmlChar *name) {
    auto &reading = *static_cast<Reading *>(context);
    reading.object.End(Text(name));
    if (reading.object.ended()) {
        xmlStopParser(reading.parser);
    }
}

} // namespace

bool Page::ReadObject(std::string_view page) {
    m_parameters.clear();
    const std::string_view html = ReadablePart(page);
    const std::unique_ptr<htmlParserCtxt, FreeParser> parser(htmlNewParserCtxt());
    if (!parser || !parser->sax) {
        return false;
    }
    Reading reading{{}, parser.get()};
    *parser->sax = {};
    parser->sax->startElement = StartElement;
    parser->sax->endElement = EndElement;
    parser->userData = &reading;
    constexpr int kOptions = HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET;
    const xmlDocPtr document = htmlCtxtReadMemory(parser.get(), html.data(), static_cast<int>(html.size()), nullptr,
                                                  base::IsUtf8(html) ? "UTF-8" : nullptr, kOptions);
    if (document) {
        xmlFreeDoc(document);
    }
    m_parameters = std::move(reading.object.parameters());
    return reading.object.found();
}

const std::string *Page::Find(std::string_view name) const {
    for (const auto &[own, value] : m_parameters) {
        if (own == name) {
            return &value;
        }
    }
    for (const auto &[own, value] : m_parameters) {
        if (Same(own, name)) {
            return &value;
        }
    }
    return nullptr;
}

void Page::Set(const std::string &name, const std::string &value) {
    std::erase_if(m_parameters, [&](const auto &parameter) { return Same(parameter.first, name); });
    m_parameters.emplace_back(name, value);
}

std::optional<base::Url> Page::Resolve(std::string_view reference) const {
    return m_address ? m_address->Resolve(reference) : base::Url::Parse(reference);
}

std::vector<std::string> Page::Sites() const {
    std::vector<std::string> sites;
    if (m_address) {
        sites.push_back(m_address->Origin());
    }
    const std::string *root = Find("LumUrlRoot");
    if (const std::optional<base::Url> url = root ? Resolve(*root) : std::nullopt) {
        sites.push_back(url->Origin());
    }
    std::sort(sites.begin(), sites.end());
    sites.erase(std::unique(sites.begin(), sites.end()), sites.end());
    return sites;
}

} // namespace delivery
