#include "host/trace/Redactor.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "base/Text.h"

namespace lumhost {

namespace {

// Lower case: names are compared without regard to it.
constexpr std::array<std::string_view, 18> kTechnical = {"lumcomponentname",
                                                         "lumurlroot",
                                                         "luminifilename",
                                                         "lumactiveinisection",
                                                         "lumsuppressinstallation",
                                                         "lumdownloadonly",
                                                         "lumproductversion",
                                                         "lumsuppressprogressbar",
                                                         "lumlocalsetting",
                                                         "lumsitelock",
                                                         "lumsupportsslflag",
                                                         "lumloadingmeetingfastflag",
                                                         "clientbuildversion",
                                                         "szframename",
                                                         "parmproducttype_value",
                                                         "klvpagewaiting_value",
                                                         "type",
                                                         "name"};

constexpr std::size_t kShortestValue = 3;
constexpr std::string_view kCut = "?...";

void ReplaceAll(std::string &text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

bool IsWordPart(const std::string &text, std::size_t at) {
    return at < text.size() && (std::isalnum(static_cast<unsigned char>(text[at])) || text[at] == '_');
}

void ReplaceWord(std::string &text, std::string_view word, std::string_view to) {
    std::size_t at = text.find(word);
    while (at != std::string::npos) {
        const bool whole = (at == 0 || !IsWordPart(text, at - 1)) && !IsWordPart(text, at + word.size());
        if (whole) {
            text.replace(at, word.size(), to);
        }
        at = text.find(word, at + (whole ? to.size() : 1));
    }
}

void CutAddresses(std::string &text) {
    for (std::size_t at = text.find("://"); at != std::string::npos; at = text.find("://", at + 3)) {
        const std::size_t host = at + 3;
        // A bracket ends an address, unless it is in the host (an IPv6 address).
        const std::size_t path = std::min(text.find_first_of("/?# \t\r\n\"'<>|", host), text.size());
        const std::size_t end = std::min(text.find_first_of(" \t\r\n\"'|]", path), text.size());
        if (const std::size_t query = text.find_first_of("?#", path); query < end) {
            text.replace(query, end - query, kCut);
        }
        if (const std::size_t sign = text.rfind('@', path); sign != std::string::npos && sign >= host && sign < path) {
            text.erase(host, sign + 1 - host);
        }
    }
}

// An address as CutAddresses leaves it, without the sign that something was cut.
std::string CutAddress(std::string address) {
    CutAddresses(address);
    return address.substr(0, address.find(kCut));
}

} // namespace

bool IsTechnicalParameter(std::string_view name) {
    return std::find(kTechnical.begin(), kTechnical.end(), base::Lower(name)) != kTechnical.end();
}

std::string UserName() {
    const passwd *entry = getpwuid(getuid());
    return entry && entry->pw_name ? entry->pw_name : "";
}

Redactor::Redactor(const std::filesystem::path &home, const std::string &user,
                   const std::vector<std::pair<std::string, std::string>> &parameters)
    : m_home(home), m_user(user == "root" || user.size() < kShortestValue ? std::string() : user) {
    for (const auto &[name, value] : parameters) {
        if (value.size() < kShortestValue || IsTechnicalParameter(name)) {
            continue;
        }
        const std::string shown = "<" + base::OneLine(name) + ">";
        m_replacements.emplace_back(value, shown);
        m_replacements.emplace_back(CutAddress(value), shown);
        m_replacements.emplace_back(base::OneLine(value), shown);
        m_replacements.emplace_back(base::PercentEncode(value), shown);
    }
    if (home.string().size() > 1) {
        m_replacements.emplace_back(home.string(), "~");
        m_replacements.emplace_back(base::PercentEncode(home.string()), "~");
    }
    std::stable_sort(m_replacements.begin(), m_replacements.end(),
                     [](const auto &a, const auto &b) { return a.first.size() > b.first.size(); });
    std::erase_if(m_replacements, [](const auto &replacement) { return replacement.first.size() < kShortestValue; });
}

std::string Redactor::HidePerson(std::string_view text) const {
    std::string result(text);
    if (m_home.string().size() > 1) {
        ReplaceAll(result, m_home.string(), "~");
    }
    if (!m_user.empty()) {
        ReplaceWord(result, m_user, "<user>");
    }
    return result;
}

std::string Redactor::Redact(std::string_view text) const {
    constexpr std::string_view kListed = "JMF parameters:";
    std::string result(text);
    if (const std::size_t listed = result.find(kListed); listed != std::string::npos) {
        result.resize(listed + kListed.size());
        result += " ...";
    }
    // Values that are addresses come last, as they are after the cut: what follows them in the text must be recognized
    // as the rest of an address. The others come first: one with a blank in it would end an address too early.
    const auto replace = [&](bool addresses) {
        for (const auto &[from, to] : m_replacements) {
            if ((from.find("://") != std::string::npos) == addresses) {
                ReplaceAll(result, from, to);
            }
        }
    };
    replace(false);
    CutAddresses(result);
    replace(true);
    if (!m_user.empty()) {
        ReplaceWord(result, m_user, "<user>");
    }
    return result;
}

} // namespace lumhost
