#include "site/publish/Manifest.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <utility>

#include <json/json.h>

#include "base/Files.h"
#include "delivery/instructions/ItemLine.h"
#include "site/publish/Packer.h"

namespace fs = std::filesystem;

namespace lumsite {

using delivery::FoldCase;
using delivery::ReasonAgainst;
using delivery::VersionWithCommas;

namespace {

using base::Result;

constexpr std::uint64_t kLargestManifest = 16 << 20;
constexpr std::size_t kUrlRootLimit = 950; // a root of this length is refused by the extension

// Parameters that publish itself sets, from the rest of the manifest.
const std::set<std::string> kOwnParameters = {"LumUrlRoot", "LumComponentName", "LumActiveIniSection",
                                              "lumcertification"};

class ManifestReader {
public:
    ManifestReader(const fs::path &path, std::string text) : m_path(path), m_text(std::move(text)) {}

    Result<Manifest> Read(const std::string &url);

private:
    std::string Where(const Json::Value &value) const {
        const std::size_t end = std::min<std::size_t>(
            static_cast<std::size_t>(std::max<ptrdiff_t>(value.getOffsetStart(), 0)), m_text.size());
        const auto line = 1 + std::count(m_text.begin(), m_text.begin() + static_cast<ptrdiff_t>(end), '\n');
        return m_path.filename().string() + ":" + std::to_string(line);
    }
    // Keeps the first fault; what is read after it is thrown away.
    void Refuse(const Json::Value &at, const std::string &why) {
        if (m_fault.empty()) {
            m_fault = Where(at) + ": " + why;
        }
    }

    bool Parse(Json::Value &root);
    // Whether it is an object without other keys than these.
    bool IsObject(const Json::Value &value, const std::string &what, std::initializer_list<const char *> keys);
    // The list's entries; none after a refusal.
    const Json::Value &List(const Json::Value &parent, const char *key, bool mayBeAbsent = false);
    void Take(const Json::Value &parent, const char *key, std::string &text);
    void Take(const Json::Value &parent, const char *key, bool &flag);
    void Take(const Json::Value &parent, const char *key, int &number);
    void TakeWord(const Json::Value &parent, const char *key, std::string &text, const std::vector<std::string> &words);
    fs::path TakePath(const Json::Value &parent, const char *key);
    std::string TakeVersion(const Json::Value &parent);
    std::map<std::string, std::string> TakeParameters(const Json::Value &parent);
    // One of the names in `known`, the first of them when the manifest gives none.
    std::string TakeReference(const Json::Value &parent, const char *key, const std::vector<std::string> &known,
                              const char *list);

    ManifestRelease ReadRelease(const Json::Value &value);
    ManifestSection ReadSection(const Json::Value &value);
    ManifestComponent ReadComponent(const Json::Value &value);
    ManifestPage ReadPage(const Json::Value &value);
    Manifest ReadRoot(const Json::Value &root, const std::string &url);
    void RefuseTwins(const Json::Value &root, const Manifest &manifest);

    fs::path m_path;
    std::string m_text;
    std::string m_fault;
    std::vector<std::string> m_sections;   // names
    std::vector<std::string> m_components; // names
};

std::string Joined(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : ", ") + (word.empty() ? std::string("nothing") : word);
    }
    return text;
}

bool ManifestReader::IsObject(const Json::Value &value, const std::string &what,
                              std::initializer_list<const char *> keys) {
    if (!value.isObject()) {
        Refuse(value, what + " must be an object, { ... }");
        return false;
    }
    for (const std::string &key : value.getMemberNames()) {
        if (std::ranges::find(keys, key) == keys.end()) {
            Refuse(value[key], what + " cannot contain \"" + key +
                                   "\"; use one of: " + Joined(std::vector<std::string>(keys.begin(), keys.end())));
        }
    }
    return true;
}

const Json::Value &ManifestReader::List(const Json::Value &parent, const char *key, bool mayBeAbsent) {
    static const Json::Value none(Json::arrayValue);
    if (mayBeAbsent && !parent.isMember(key)) {
        return none;
    }
    const Json::Value &list = parent[key];
    if (!list.isArray() || (list.empty() && !mayBeAbsent)) {
        Refuse(parent.isMember(key) ? list : parent,
               std::string("\"") + key + "\" must be a list with at least one entry");
        return none;
    }
    return list;
}

void ManifestReader::Take(const Json::Value &parent, const char *key, std::string &text) {
    if (!parent.isMember(key)) {
        return;
    }
    if (parent[key].isString()) {
        text = parent[key].asString();
    } else {
        Refuse(parent[key], std::string("\"") + key + "\" must be text in quotes");
    }
}

void ManifestReader::Take(const Json::Value &parent, const char *key, bool &flag) {
    if (!parent.isMember(key)) {
        return;
    }
    if (parent[key].isBool()) {
        flag = parent[key].asBool();
    } else {
        Refuse(parent[key], std::string("\"") + key + "\" must be true or false");
    }
}

void ManifestReader::Take(const Json::Value &parent, const char *key, int &number) {
    if (!parent.isMember(key)) {
        return;
    }
    if (parent[key].isInt()) {
        number = parent[key].asInt();
    } else {
        Refuse(parent[key], std::string("\"") + key + "\" must be a whole number");
    }
}

void ManifestReader::TakeWord(const Json::Value &parent, const char *key, std::string &text,
                              const std::vector<std::string> &words) {
    Take(parent, key, text);
    if (std::ranges::find(words, text) == words.end()) {
        Refuse(parent[key], std::string("\"") + key + "\" cannot be \"" + text + "\"; use one of: " + Joined(words));
    }
}

fs::path ManifestReader::TakePath(const Json::Value &parent, const char *key) {
    std::string text;
    Take(parent, key, text);
    if (text.empty()) {
        Refuse(parent, std::string("\"") + key + "\" is missing");
    }
    std::error_code error;
    const fs::path manifest = fs::absolute(m_path, error);
    if (error) {
        Refuse(parent, "the current folder cannot be found (" + error.message() + ")");
    }
    const fs::path path = (manifest.parent_path() / text).lexically_normal();
    return path.has_filename() ? path : path.parent_path();
}

std::string ManifestReader::TakeVersion(const Json::Value &parent) {
    std::string text;
    Take(parent, "version", text);
    const std::string version = VersionWithCommas(text);
    if (!text.empty() && version.empty()) {
        Refuse(parent["version"],
               "version \"" + text + "\" must be four numbers without leading zeros, such as 2.1.3.4");
    }
    return version;
}

std::map<std::string, std::string> ManifestReader::TakeParameters(const Json::Value &parent) {
    const Json::Value &given = parent["parameters"];
    std::map<std::string, std::string> parameters;
    if (given.isNull()) {
        return parameters;
    }
    if (!given.isObject()) {
        Refuse(given, "\"parameters\" must be an object of texts");
        return parameters;
    }
    for (const std::string &name : given.getMemberNames()) {
        if (kOwnParameters.count(name) != 0) {
            Refuse(given[name], "publish itself sets the parameter " + name + "; leave it out");
        } else if (!given[name].isString()) {
            Refuse(given[name], "parameter " + name + " must be text in quotes");
        } else if (given[name].asString().find_first_of("\r\n") != std::string::npos) {
            Refuse(given[name], "parameter " + name + " contains a line break; leave it out");
        } else {
            parameters[name] = given[name].asString();
        }
    }
    return parameters;
}

std::string ManifestReader::TakeReference(const Json::Value &parent, const char *key,
                                          const std::vector<std::string> &known, const char *list) {
    std::string name = known.empty() ? "" : known.front();
    Take(parent, key, name);
    if (std::ranges::find(known, name) == known.end()) {
        Refuse(parent[key], std::string("there is no ") + key + " \"" + name + "\" in \"" + list + "\"");
    }
    return name;
}

ManifestRelease ManifestReader::ReadRelease(const Json::Value &value) {
    ManifestRelease release;
    if (!IsObject(value, "the release", {"keys", "mirrors"})) {
        return release;
    }
    release.where = Where(value);
    release.keys = TakePath(value, "keys");
    for (const Json::Value &mirror : List(value, "mirrors", true)) {
        const std::string address = mirror.isString() ? mirror.asString() : "";
        const std::string reason = ReasonAgainstUrlRoot(address);
        if (!reason.empty()) {
            Refuse(mirror, "mirror \"" + address + "\" " + reason);
        }
        release.mirrors.push_back(address.ends_with('/') ? address : address + "/");
    }
    return release;
}

ManifestSection ManifestReader::ReadSection(const Json::Value &value) {
    ManifestSection section;
    if (!IsObject(value, "a section", {"name", "keys"})) {
        return section;
    }
    section.where = Where(value);
    Take(value, "name", section.name);
    const std::string &name = section.name;
    if (name.empty() || name.find_first_of("[]=\r\n") != std::string::npos || name.front() == ' ' ||
        name.back() == ' ') {
        Refuse(value, "section name \"" + name + "\" cannot be read back; leave out [ ] = and blanks at the ends");
    }
    section.keys = TakePath(value, "keys");
    return section;
}

ManifestComponent ManifestReader::ReadComponent(const Json::Value &value) {
    ManifestComponent component;
    if (!IsObject(value, "a component",
                  {"path", "target", "version", "action", "update", "failure", "osVersion", "format", "hash",
                   "linksAsFiles"})) {
        return component;
    }
    component.where = Where(value);
    component.path = TakePath(value, "path");
    component.name = component.path.filename();
    component.version = TakeVersion(value);
    Take(value, "target", component.target);
    Take(value, "action", component.action);
    TakeWord(value, "update", component.update, {"version", "size", "existence", "always"});
    TakeWord(value, "failure", component.failure, {"", "ignore", "reboot"});
    TakeWord(value, "format", component.format, PackageFormats());
    TakeWord(value, "hash", component.hash, {"sha1", "sha256"});
    Take(value, "linksAsFiles", component.linksAsFiles);
    Take(value, "osVersion", component.osVersion);
    for (const std::string *text : {&component.name, &component.target, &component.action}) {
        const std::string reason = ReasonAgainst(*text);
        if (!reason.empty()) {
            Refuse(value, "\"" + *text + "\" " + reason + "; leave that character out");
        }
    }
    return component;
}

ManifestPage ManifestReader::ReadPage(const Json::Value &value) {
    ManifestPage page;
    if (!IsObject(value, "a page", {"file", "title", "section", "component", "parameters"})) {
        return page;
    }
    page.where = Where(value);
    Take(value, "file", page.file);
    if (page.file.empty() || page.file.front() == '.' || page.file.find('/') != std::string::npos ||
        page.file == "lummac.ini" || page.file == "packages" || page.file == "release") {
        Refuse(value, "\"file\" must be the plain name of a page, such as index.html");
    }
    Take(value, "title", page.title);
    page.section = TakeReference(value, "section", m_sections, "sections");
    page.component = TakeReference(value, "component", m_components, "components");
    page.parameters = TakeParameters(value);
    return page;
}

// Names that the extension, or the file system, would take for the same.
void ManifestReader::RefuseTwins(const Json::Value &root, const Manifest &manifest) {
    std::set<std::string> seen;
    const auto isTwin = [&](char kind, const std::string &name) { return !seen.insert(kind + FoldCase(name)).second; };
    for (std::size_t i = 0; i < manifest.sections.size(); ++i) {
        if (isTwin('s', manifest.sections[i].name)) {
            Refuse(root["sections"][static_cast<int>(i)],
                   "a section above has this name, and only the first would be read; choose another name");
        }
    }
    for (std::size_t i = 0; i < manifest.components.size(); ++i) {
        if (isTwin('c', manifest.components[i].name)) {
            Refuse(root["components"][static_cast<int>(i)], "a component above is named " +
                                                                manifest.components[i].name +
                                                                " too; names must differ in more than case");
        }
    }
    for (std::size_t i = 0; i < manifest.pages.size(); ++i) {
        if (isTwin('p', manifest.pages[i].file)) {
            Refuse(root["pages"][static_cast<int>(i)], "a page above has this file; choose another file");
        }
    }
}

bool ManifestReader::Parse(Json::Value &root) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["allowComments"] = true;
    builder["rejectDupKeys"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    try {
        if (reader->parse(m_text.data(), m_text.data() + m_text.size(), &root, &errors)) {
            return true;
        }
    } catch (const Json::Exception &) {
        errors = "it is nested too deeply"; // the only thing that the reader throws for
    }
    m_fault = m_path.string() + " is not a manifest:\n" + errors;
    return false;
}

Manifest ManifestReader::ReadRoot(const Json::Value &root, const std::string &url) {
    Manifest manifest;
    Take(root, "url", manifest.url);
    if (!url.empty()) {
        manifest.url = url;
    }
    const std::string reason = ReasonAgainstUrlRoot(manifest.url);
    if (!reason.empty()) {
        Refuse(url.empty() ? root["url"] : root, "url \"" + manifest.url + "\" " + reason);
    }
    std::string names = "content";
    TakeWord(root, "packageNames", names, {"content", "version"});
    manifest.versionInNames = names == "version";
    if (root.isMember("release")) {
        manifest.release = ReadRelease(root["release"]);
    }
    for (const Json::Value &section : List(root, "sections")) {
        manifest.sections.push_back(ReadSection(section));
        m_sections.push_back(manifest.sections.back().name);
    }
    for (const Json::Value &component : List(root, "components")) {
        manifest.components.push_back(ReadComponent(component));
        m_components.push_back(manifest.components.back().name);
    }
    for (const Json::Value &page : List(root, "pages", true)) {
        manifest.pages.push_back(ReadPage(page));
    }
    RefuseTwins(root, manifest);
    return manifest;
}

Result<Manifest> ManifestReader::Read(const std::string &url) {
    Json::Value root;
    Manifest manifest;
    if (Parse(root) &&
        IsObject(root, "the manifest", {"url", "packageNames", "release", "sections", "components", "pages"})) {
        manifest = ReadRoot(root, url);
    }
    if (!m_fault.empty()) {
        return base::Fail(m_fault, kManifestFault);
    }
    return manifest;
}

} // namespace

std::string ReasonAgainstUrlRoot(std::string_view url) {
    if (!url.starts_with("http://") && !url.starts_with("https://")) {
        return "does not begin with http:// or https://";
    }
    if (url.size() >= kUrlRootLimit) {
        return "is too long; the extension accepts fewer than 950 characters";
    }
    if (url.find_first_of("?# \t\r\n") != std::string_view::npos) {
        return "contains \"?\", \"#\" or a blank; file names and a query are appended to it";
    }
    return "";
}

Result<Manifest> ReadManifest(const fs::path &path, const std::string &url) {
    Result<std::string> text = base::ReadWhole(path, kLargestManifest);
    if (!text) {
        return base::Fail(std::move(text.error()));
    }
    return ManifestReader(path, std::move(*text)).Read(url);
}

} // namespace lumsite
