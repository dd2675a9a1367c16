#include "host/trace/Redactor.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <functional>

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
constexpr std::size_t kShortestPiece = 4;
constexpr std::size_t kMostPieces = 4000; // no page but a hostile one has so many
constexpr std::string_view kCut = "?...";
constexpr std::string_view kAddressEnds = " \t\r\n\"'<>|]";
// Pieces of addresses that say nothing.
constexpr std::array<std::string_view, 6> kPlainPieces = {"http", "https", "html", "index", "true", "false"};

bool IsPieceCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || static_cast<unsigned char>(c) >= 0x80;
}

std::vector<std::string> PiecesOf(std::string_view value) {
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at < value.size();) {
        std::size_t end = at;
        while (end < value.size() && IsPieceCharacter(value[end])) {
            ++end;
        }
        if (end - at >= kShortestPiece) {
            pieces.push_back(base::Lower(value.substr(at, end - at)));
        }
        at = end + 1;
    }
    return pieces;
}

std::uint32_t KeyOf(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i])); };
    return byte(at) << 16 | byte(at + 1) << 8 | byte(at + 2);
}

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
    std::set<std::string> plain(kPlainPieces.begin(), kPlainPieces.end());
    for (const auto &[name, value] : parameters) {
        if (IsTechnicalParameter(name)) {
            for (std::string &piece : PiecesOf(value)) {
                plain.insert(std::move(piece));
            }
        }
    }
    for (const auto &[name, value] : parameters) {
        if (!IsTechnicalParameter(name)) {
            AddValue(value, "<" + base::OneLine(name) + ">", plain);
        }
    }
    if (home.string().size() > 1) {
        Add(home.string(), "~", Kind::Text);
        Add(base::PercentEncode(home.string()), "~", Kind::Text);
    }
    for (auto &[key, hidden] : m_hidden) {
        std::ranges::stable_sort(hidden, std::greater(), [](const Hidden &each) {
            return std::pair(each.text.size(), each.kind != Kind::Piece); // of equal texts the whole value
        });
    }
}

// The value in every form that it may take on its way through the extension: as it is, on one line, encoded, decoded.
void Redactor::AddValue(const std::string &value, const std::string &shown, const std::set<std::string> &plain) {
    std::vector<std::string> forms = {value, base::OneLine(value), base::PercentDecode(value).value_or(""),
                                      base::FromBase64(value).value_or("")};
    for (const std::string &form : std::vector<std::string>(forms)) {
        forms.push_back(base::PercentEncode(form));
        forms.push_back(base::ToBase64(form));
    }
    for (const std::string &form : forms) {
        Add(form, shown, form.find("://") != std::string::npos ? Kind::Address : Kind::Text);
        if (const std::size_t query = form.find_first_of("?#"); query != std::string::npos) {
            Add(form.substr(0, query), shown, form.find("://") < query ? Kind::Address : Kind::Text);
        }
    }
    for (const std::string &form : forms) {
        for (const std::string &piece : PiecesOf(form)) {
            if (!plain.contains(piece)) {
                Add(piece, shown, Kind::Piece);
                Add(base::PercentEncode(piece), shown, Kind::Piece);
            }
        }
    }
}

void Redactor::Add(const std::string &text, const std::string &shown, Kind kind) {
    if (text.size() < kShortestValue || (kind == Kind::Piece && ++m_pieces > kMostPieces)) {
        return;
    }
    const std::string lower = base::Lower(text);
    m_hidden[KeyOf(lower, 0)].push_back({lower, shown, kind});
}

const Redactor::Hidden *Redactor::Find(std::string_view lower, std::size_t at) const {
    if (lower.size() - at < kShortestValue) {
        return nullptr;
    }
    const auto found = m_hidden.find(KeyOf(lower, at));
    if (found == m_hidden.end()) {
        return nullptr;
    }
    const auto fits = [&](const Hidden &hidden) {
        const std::size_t end = at + hidden.text.size();
        const bool isWhole =
            (at == 0 || !IsPieceCharacter(lower[at - 1])) && (end >= lower.size() || !IsPieceCharacter(lower[end]));
        return lower.substr(at).starts_with(hidden.text) && (hidden.kind != Kind::Piece || isWhole);
    };
    const auto longest = std::ranges::find_if(found->second, fits);
    return longest == found->second.end() ? nullptr : &*longest;
}

// Of which the part before `at` is known. Values in it may have blanks in them.
std::size_t Redactor::EndOfAddress(std::string_view lower, std::size_t at) const {
    while (at < lower.size() && kAddressEnds.find(lower[at]) == std::string_view::npos) {
        const Hidden *hidden = Find(lower, at);
        at += hidden ? hidden->text.size() : 1;
    }
    return at;
}

std::string Redactor::HideValues(std::string_view text) const {
    const std::string lower = base::Lower(text);
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const Hidden *hidden = Find(lower, at);
        if (!hidden) {
            result += text[at++];
            continue;
        }
        result += hidden->shown;
        at += hidden->text.size();
        if (hidden->kind == Kind::Address) {
            const std::size_t end = EndOfAddress(lower, at);
            result += end > at ? kCut : "";
            at = end;
        }
    }
    return result;
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
    result = HideValues(result);
    CutAddresses(result);
    if (!m_user.empty()) {
        ReplaceWord(result, m_user, "<user>");
    }
    return result;
}

} // namespace lumhost
