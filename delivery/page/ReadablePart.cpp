#include "delivery/page/ReadablePart.h"

#include <cctype>
#include <string>

#include "base/Text.h"

namespace delivery {

namespace {

constexpr unsigned kMostAttributes = 1000;

// Walks over a page the way the parser does, without making anything of it.
class TagWalk {
public:
    explicit TagWalk(std::string_view html) : m_html(html) {}

    std::string_view Readable() {
        while ((m_at = m_html.find('<', m_at)) != std::string_view::npos) {
            const std::size_t start = m_at++;
            if (m_html.substr(m_at).starts_with("!--")) {
                SkipPast("-->");
                continue;
            }
            if (m_at >= m_html.size() || !std::isalpha(static_cast<unsigned char>(m_html[m_at]))) {
                continue;
            }
            const std::string name = base::Lower(Token());
            if (!SkipAttributes()) {
                return m_html.substr(0, start);
            }
            if (name == "script" || name == "style") { // what stands in there is no markup
                SkipPast("</");
            }
        }
        return m_html;
    }

private:
    void SkipPast(std::string_view end) {
        const std::size_t found = m_html.find(end, m_at);
        m_at = found == std::string_view::npos ? m_html.size() : found + end.size();
    }

    std::string_view Token() {
        const std::size_t start = m_at;
        while (m_at < m_html.size() && !base::IsBlank(m_html[m_at]) && m_html[m_at] != '>' && m_html[m_at] != '=') {
            ++m_at;
        }
        return m_html.substr(start, m_at - start);
    }

    void SkipBlanks() {
        while (m_at < m_html.size() && base::IsBlank(m_html[m_at])) {
            ++m_at;
        }
    }

    void SkipValue() {
        ++m_at;
        SkipBlanks();
        const char quote = m_at < m_html.size() ? m_html[m_at] : '\0';
        if (quote == '"' || quote == '\'') {
            ++m_at;
            SkipPast({&quote, 1});
            return;
        }
        while (m_at < m_html.size() && !base::IsBlank(m_html[m_at]) && m_html[m_at] != '>') {
            ++m_at;
        }
    }

    // To the end of the tag; false when there are too many.
    bool SkipAttributes() {
        for (unsigned count = 0; count <= kMostAttributes; ++count) {
            SkipBlanks();
            if (m_at >= m_html.size() || m_html[m_at] == '>') {
                return true;
            }
            Token();
            SkipBlanks();
            if (m_at < m_html.size() && m_html[m_at] == '=') {
                SkipValue();
            }
        }
        return false;
    }

    const std::string_view m_html;
    std::size_t m_at = 0;
};

} // namespace

std::string_view ReadablePart(std::string_view html) {
    return TagWalk(html).Readable();
}

} // namespace delivery
