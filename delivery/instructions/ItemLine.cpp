#include "delivery/instructions/ItemLine.h"

#include <locale.h>
#include <wctype.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "base/Text.h"

namespace delivery {

namespace {

constexpr std::array<std::string_view, kAttributes> kAttributeNames = {"name",
                                                                       "URL",
                                                                       "target",
                                                                       "version",
                                                                       "file size",
                                                                       "compressed size",
                                                                       "action",
                                                                       "update control",
                                                                       "failure control",
                                                                       "OS version",
                                                                       "hash value",
                                                                       "hash method",
                                                                       "signature"};
constexpr std::string_view kRunThatIsRemoved = " \t\r\n";

bool IsNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// The extension compares these words without regard to case.
bool IsOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
    return std::ranges::find(words, base::Lower(word)) != words.end();
}

std::vector<std::string_view> SplitAt(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find(separator, start);
        parts.push_back(text.substr(start, end - start));
        if (end == std::string_view::npos) {
            return parts;
        }
        start = end + 1;
    }
}

// Collects findings about one attribute after another.
class Examiner {
public:
    explicit Examiner(const std::vector<std::string> &attributes) : m_attributes(attributes) {}

    base::Findings Run();

private:
    const std::string &Of(Attribute attribute) const {
        return m_attributes[attribute];
    }
    void Add(base::Severity severity, Attribute attribute, const std::string &what, const std::string &remedy) {
        std::string text(kAttributeNames[attribute]);
        if (!Of(attribute).empty() && attribute != kSignature) {
            text += " \"" + Of(attribute) + "\"";
        }
        m_findings.push_back({severity, "", text + " " + what, remedy});
    }
    void Error(Attribute attribute, const std::string &what, const std::string &remedy) {
        Add(base::Severity::Error, attribute, what, remedy);
    }

    void ExamineName();
    void ExamineLibraryName();
    void ExamineUrl();
    void ExamineTarget();
    void ExamineVersion();
    void ExamineSizes();
    void ExamineWords();
    void ExamineIntegrity();

    const std::vector<std::string> &m_attributes;
    base::Findings m_findings;
};

base::Findings Examiner::Run() {
    for (std::size_t i = 0; i < std::min<std::size_t>(m_attributes.size(), kAttributes); ++i) {
        const std::string reason = ReasonAgainst(m_attributes[i]);
        if (!reason.empty()) {
            Error(static_cast<Attribute>(i), reason, "leave that character out");
        }
    }
    if (m_attributes.size() < kRequiredAttributes) {
        m_findings.push_back({base::Severity::Error, "",
                              "the item has " + std::to_string(m_attributes.size()) +
                                  " attributes; with fewer than 10 it is skipped as if it were not there",
                              "write all thirteen, separated by \";\"; publish does"});
        return m_findings;
    }
    ExamineName();
    ExamineUrl();
    ExamineTarget();
    ExamineVersion();
    ExamineSizes();
    ExamineWords();
    if (m_attributes.size() < kAttributes) {
        m_findings.push_back({base::Severity::Error, "",
                              "the item has " + std::to_string(m_attributes.size()) +
                                  " attributes; without hash value, hash method and signature its package is refused",
                              "write all thirteen, separated by \";\"; publish does"});
        return m_findings;
    }
    ExamineIntegrity();
    return m_findings;
}

void Examiner::ExamineName() {
    const std::string &name = Of(kName);
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
        Error(kName, "is not the name of one file", "give the component's own name, without a folder");
        return;
    }
    if (name.front() == '"' || name.front() == '\'' || name.front() == ' ' || name.back() == ' ') {
        Error(kName, "begins with a quote or has a blank at an end, which reading the line takes off",
              "give the component a name without it");
    }
    if (name.find('.') == std::string::npos) {
        Error(kName, "has no \".\", so that it would be installed as if it were a library",
              "give the component an extension such as .bundle or .app");
        return;
    }
    if (name.find("dylib") != std::string::npos) {
        ExamineLibraryName();
    }
}

void Examiner::ExamineLibraryName() {
    const std::string &name = Of(kName);
    const std::size_t dot = name.find('.');
    if (name.substr(dot) != ".dylib") {
        Error(kName,
              "holds \"dylib\" but is not of the form stem.dylib, so that its installed copy is never found again",
              "name a library stem.dylib with one \".\"; keep \"dylib\" out of the name of anything else");
    }
    const std::string stem = name.substr(0, dot);
    if (stem.empty() || stem.find("dylib") != std::string::npos) {
        Error(kName, "has no usable stem before .dylib", "give the library a stem that does not hold \"dylib\"");
    }
    if (stem.find('-') != std::string::npos) {
        Error(kName,
              "has a \"-\" in its stem: the extension takes what follows for the version, and deletes the other "
              "libraries whose names begin alike",
              "leave the \"-\" out of the stem");
    }
}

void Examiner::ExamineUrl() {
    const std::string &url = Of(kUrl);
    if (url.empty()) {
        Error(kUrl, "is empty", "give the package's path below the URL root");
        return;
    }
    const bool plain = std::all_of(url.begin(), url.end(), [](char c) { return c > ' ' && c < '\x7f'; });
    if (!plain || url.find_first_of("?#\\\"<>^`{}[]") != std::string::npos) {
        Error(kUrl, "holds a character that a request cannot carry as it is",
              "use letters, digits and . _ - / only, or percent-encode");
    }
    if (url.front() == '/' || url.find("://") != std::string::npos) {
        Error(kUrl, "is not relative: it is appended to the URL root and \"/\"", "give the path below the URL root");
    }
    for (const std::string_view part : SplitAt(url, '/')) {
        if (part == "." || part == "..") {
            Error(kUrl, "has a \".\" or \"..\" step", "give the plain path below the URL root");
            return;
        }
    }
}

void Examiner::ExamineTarget() {
    const std::string &target = Of(kTarget);
    if (IsOneOf(target, {"%system%", "%extension%"})) {
        Error(kTarget, "is refused by the extension; the component would have no folder",
              "leave the target empty, or use another word for the shared product folder");
    }
    if (target.find('/') != std::string::npos && target.front() != '/') {
        Error(kTarget, "is a relative folder, which would lie wherever the browser was started",
              "begin it with \"/\", or use a word without \"/\"");
    }
    if (target.starts_with('/')) {
        Add(base::Severity::Warning, kTarget,
            "is a folder of its own: lumhost refuses the whole list unless its user allows this site to install "
            "anywhere",
            "leave the target empty, or use a word without \"/\"");
    }
    if (target.find("dylib") != std::string::npos) {
        Error(kTarget, "holds \"dylib\", so that everything in it is looked for as a library", "use another folder");
    }
}

void Examiner::ExamineVersion() {
    if (VersionWithCommas(Of(kVersion)) != Of(kVersion) || Of(kVersion).empty()) {
        Error(kVersion, "is not four numbers without leading zeros, joined by \",\"", "write it like 2,1,3,4");
    }
}

void Examiner::ExamineSizes() {
    for (const Attribute size : {kFileSize, kCompressedSize}) {
        if (!IsNumber(Of(size)) || !base::ReadNumber<std::uint32_t>(Of(size))) {
            Error(size, "is not a number of bytes below 4294967296",
                  "give the size in bytes; split a larger component");
        }
    }
    if (Of(kCompressedSize) == "0") {
        Error(kCompressedSize, "is nothing: an empty package has no hash", "publish the component again");
    }
}

void Examiner::ExamineWords() {
    if (!IsOneOf(Of(kUpdateControl), {"version", "size", "existence", "always"})) {
        Add(base::Severity::Warning, kUpdateControl,
            "is no word of the extension: the component is fetched on every visit",
            "use version, size or existence; or always, when that is meant");
    }
    if (!IsOneOf(Of(kFailureControl), {"", "ignore", "reboot"})) {
        Add(base::Severity::Warning, kFailureControl, "is no word of the extension and means nothing",
            "leave it empty, or use ignore or reboot");
    }
    if (!base::ReadNumber<int>(Of(kOSVersion))) {
        Error(kOSVersion, "is not a whole number", "write 0 when there is nothing to say");
    }
}

void Examiner::ExamineIntegrity() {
    const std::size_t digits = Of(kHashMethod) == "sha1" ? 40 : Of(kHashMethod) == "sha256" ? 64 : 0;
    if (digits == 0) {
        Error(kHashMethod, "is not exactly sha1 or sha256, in small letters; the package is refused", "use sha256");
    }
    const std::string &hash = Of(kHashValue);
    if (hash.empty()) {
        Error(kHashValue, "is empty; the package is refused", "publish the component again");
    } else if (hash.find_first_not_of("0123456789abcdef") != std::string::npos || (digits && hash.size() != digits)) {
        Error(kHashValue, "is not the digest in small hexadecimal letters, and is compared letter by letter",
              "publish the component again");
    }
    if (Of(kSignature).empty()) {
        Error(kSignature, "is empty; the package is not proven to be the site's", "publish the component again");
    }
}

} // namespace

std::vector<std::string> SplitItemLine(std::string_view line) {
    std::vector<std::string> attributes;
    std::vector<std::string_view> parts = SplitAt(line, ';');
    if (parts.back().empty()) {
        parts.pop_back();
    }
    for (const std::string_view part : parts) {
        std::string attribute(part);
        for (std::size_t at; (at = attribute.find(kRunThatIsRemoved)) != std::string::npos;) {
            attribute.erase(at, kRunThatIsRemoved.size());
        }
        attributes.push_back(std::move(attribute));
    }
    return attributes;
}

base::Findings ExamineItem(const std::vector<std::string> &attributes) {
    return Examiner(attributes).Run();
}

std::string ReasonAgainst(std::string_view text) {
    for (const char c : text) {
        if (c == ';' || c == '|') {
            return std::string("holds \"") + c + "\", which separates values";
        }
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            return "holds a line end or another control character";
        }
    }
    return "";
}

std::string VersionWithCommas(std::string_view version) {
    const char separator = version.find('.') != std::string_view::npos ? '.' : ',';
    std::string text;
    const std::vector<std::string_view> parts = SplitAt(version, separator);
    for (const std::string_view part : parts) {
        if (!IsNumber(part) || !base::ReadNumber<std::uint32_t>(part) || (part.size() > 1 && part.front() == '0')) {
            return "";
        }
        text += (text.empty() ? "" : ",") + std::string(part);
    }
    return parts.size() == 4 ? text : "";
}

std::string FoldCase(std::string_view utf8) {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    std::string folded;
    while (!utf8.empty()) {
        const base::Utf8Character first = base::FirstCharacter(utf8);
        const std::size_t length = std::max<std::size_t>(first.length, 1); // one byte of what is not UTF-8
        const wint_t character = first.length > 0 ? first.codePoint : static_cast<unsigned char>(utf8.front());
        folded += std::to_string(locale ? towlower_l(character, locale) : character) + ' ';
        utf8.remove_prefix(length);
    }
    return folded;
}

} // namespace delivery
