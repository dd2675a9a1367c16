#include "site/publish/Manifest.h"

#include <json/json.h>

#include <algorithm>
#include <memory>
#include <set>

#include "site/Files.h"
#include "site/publish/ItemLine.h"
#include "site/publish/Packer.h"
#include "site/SiteError.h"

namespace fs = std::filesystem;

namespace lumsite {
namespace {

constexpr size_t kUrlRootLimit = 950; // a root of this length is refused by the extension

// Parameters that publish itself gives, from the rest of the manifest.
const std::set<std::string> kOwnParameters = {"LumUrlRoot", "LumComponentName", "LumActiveIniSection",
                                              "lumcertification"};

class ManifestReader {
public:
    ManifestReader(const fs::path &path, std::string text) : m_path(path), m_text(std::move(text)) {}

    Manifest Read(const std::string &url);

private:
    std::string Where(const Json::Value &value) const {
        const size_t end =
            std::min<size_t>(static_cast<size_t>(std::max<ptrdiff_t>(value.getOffsetStart(), 0)), m_text.size());
        const auto line = 1 + std::count(m_text.begin(), m_text.begin() + static_cast<ptrdiff_t>(end), '\n');
        return m_path.filename().string() + ":" + std::to_string(line);
    }
    [[noreturn]] void Refuse(const Json::Value &at, const std::string &why) const {
        throw UsageError(Where(at) + ": " + why);
    }

    // The object, after a look that it holds no other keys than these.
    const Json::Value &Object(const Json::Value &value, const std::string &what,
                              std::initializer_list<const char *> keys) const;
    const Json::Value &List(const Json::Value &parent, const char *key, bool mayBeAbsent = false) const;
    void Take(const Json::Value &parent, const char *key, std::string &text) const;
    void Take(const Json::Value &parent, const char *key, bool &flag) const;
    void TakeWord(const Json::Value &parent, const char *key, std::string &text,
                  const std::vector<std::string> &words) const;
    fs::path TakePath(const Json::Value &parent, const char *key) const;

    ManifestSection ReadSection(const Json::Value &value) const;
    ManifestComponent ReadComponent(const Json::Value &value) const;
    ManifestPage ReadPage(const Json::Value &value, const Manifest &manifest) const;
    void RefuseTwins(const Json::Value &root, const Manifest &manifest) const;

    fs::path m_path;
    std::string m_text;
};

const Json::Value &ManifestReader::Object(const Json::Value &value, const std::string &what,
                                          std::initializer_list<const char *> keys) const {
    if (!value.isObject()) {
        Refuse(value, what + " must be an object, { ... }");
    }
    for (const std::string &key : value.getMemberNames()) {
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
            std::string known;
            for (const char *name : keys) {
                known += (known.empty() ? "" : ", ") + std::string(name);
            }
            Refuse(value[key], what + " has no \"" + key + "\"; known are " + known);
        }
    }
    return value;
}

const Json::Value &ManifestReader::List(const Json::Value &parent, const char *key, bool mayBeAbsent) const {
    static const Json::Value none(Json::arrayValue);
    if (mayBeAbsent && !parent.isMember(key)) {
        return none;
    }
    const Json::Value &list = parent[key];
    if (!list.isArray() || (list.empty() && !mayBeAbsent)) {
        Refuse(parent.isMember(key) ? list : parent,
               std::string("\"") + key + "\" must be a list with at least one entry");
    }
    return list;
}

void ManifestReader::Take(const Json::Value &parent, const char *key, std::string &text) const {
    if (!parent.isMember(key)) {
        return;
    }
    if (!parent[key].isString()) {
        Refuse(parent[key], std::string("\"") + key + "\" must be text in quotes");
    }
    text = parent[key].asString();
}

void ManifestReader::Take(const Json::Value &parent, const char *key, bool &flag) const {
    if (!parent.isMember(key)) {
        return;
    }
    if (!parent[key].isBool()) {
        Refuse(parent[key], std::string("\"") + key + "\" must be true or false");
    }
    flag = parent[key].asBool();
}

void ManifestReader::TakeWord(const Json::Value &parent, const char *key, std::string &text,
                              const std::vector<std::string> &words) const {
    Take(parent, key, text);
    if (std::find(words.begin(), words.end(), text) == words.end()) {
        std::string known;
        for (const std::string &word : words) {
            known += (known.empty() ? "" : ", ") + (word.empty() ? std::string("nothing") : word);
        }
        Refuse(parent[key], std::string("\"") + key + "\" cannot be \"" + text + "\"; use one of: " + known);
    }
}

fs::path ManifestReader::TakePath(const Json::Value &parent, const char *key) const {
    std::string text;
    Take(parent, key, text);
    if (text.empty()) {
        Refuse(parent, std::string("\"") + key + "\" is missing");
    }
    const fs::path path = (fs::absolute(m_path).parent_path() / text).lexically_normal();
    return path.has_filename() ? path : path.parent_path();
}

ManifestSection ManifestReader::ReadSection(const Json::Value &value) const {
    Object(value, "a section", {"name", "keys"});
    ManifestSection section;
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

ManifestComponent ManifestReader::ReadComponent(const Json::Value &value) const {
    Object(value, "a component",
           {"path", "target", "version", "action", "update", "failure", "osVersion", "format", "hash", "linksAsFiles"});
    ManifestComponent component;
    component.where = Where(value);
    component.path = TakePath(value, "path");
    component.name = component.path.filename();
    Take(value, "target", component.target);
    Take(value, "action", component.action);
    TakeWord(value, "update", component.update, {"version", "size", "existence", "always"});
    TakeWord(value, "failure", component.failure, {"", "ignore", "reboot"});
    TakeWord(value, "format", component.format, PackageFormats());
    TakeWord(value, "hash", component.hash, {"sha1", "sha256"});
    Take(value, "linksAsFiles", component.linksAsFiles);
    std::string version;
    Take(value, "version", version);
    component.version = VersionWithCommas(version);
    if (!version.empty() && component.version.empty()) {
        Refuse(value["version"],
               "version \"" + version + "\" is not four numbers without leading zeros, such as 2.1.3.4");
    }
    if (value.isMember("osVersion") && !value["osVersion"].isInt()) {
        Refuse(value["osVersion"], "\"osVersion\" must be a whole number");
    }
    component.osVersion = value.get("osVersion", 0).asInt();
    for (const std::string *text : {&component.name, &component.target, &component.action}) {
        const std::string reason = ReasonAgainst(*text);
        if (!reason.empty()) {
            Refuse(value, "\"" + *text + "\" " + reason + "; leave that character out");
        }
    }
    return component;
}

ManifestPage ManifestReader::ReadPage(const Json::Value &value, const Manifest &manifest) const {
    Object(value, "a page", {"file", "title", "section", "component", "parameters"});
    ManifestPage page;
    page.where = Where(value);
    Take(value, "file", page.file);
    if (page.file.empty() || page.file.front() == '.' || page.file.find('/') != std::string::npos ||
        page.file == "lummac.ini" || page.file == "packages") {
        Refuse(value, "\"file\" must be the plain name of a page, such as index.html");
    }
    Take(value, "title", page.title);
    page.section = manifest.sections.front().name;
    Take(value, "section", page.section);
    if (std::none_of(manifest.sections.begin(), manifest.sections.end(),
                     [&](const ManifestSection &section) { return section.name == page.section; })) {
        Refuse(value["section"], "there is no section \"" + page.section + "\" in \"sections\"");
    }
    page.component = manifest.components.front().name;
    Take(value, "component", page.component);
    if (std::none_of(manifest.components.begin(), manifest.components.end(),
                     [&](const ManifestComponent &component) { return component.name == page.component; })) {
        Refuse(value["component"], "there is no component named \"" + page.component + "\" in \"components\"");
    }
    const Json::Value &parameters = value["parameters"];
    if (!parameters.isNull() && !parameters.isObject()) {
        Refuse(parameters, "\"parameters\" must be an object of texts");
    }
    for (const std::string &name : parameters.getMemberNames()) {
        if (kOwnParameters.count(name) != 0) {
            Refuse(parameters[name], "parameter " + name + " is set by publish itself; leave it out");
        }
        if (!parameters[name].isString()) {
            Refuse(parameters[name], "parameter " + name + " must be text in quotes");
        }
        page.parameters[name] = parameters[name].asString();
        if (page.parameters[name].find_first_of("\r\n") != std::string::npos) {
            Refuse(parameters[name], "parameter " + name + " holds a line end; leave it out");
        }
    }
    return page;
}

// Names that the extension, or the file system, would take for the same.
void ManifestReader::RefuseTwins(const Json::Value &root, const Manifest &manifest) const {
    std::set<std::string> seen;
    for (size_t i = 0; i < manifest.sections.size(); ++i) {
        if (!seen.insert("s" + FoldCase(manifest.sections[i].name)).second) {
            Refuse(root["sections"][static_cast<int>(i)],
                   "a section of this name stands above; only the first would be read. Choose another name");
        }
    }
    for (size_t i = 0; i < manifest.components.size(); ++i) {
        if (!seen.insert("c" + FoldCase(manifest.components[i].name)).second) {
            Refuse(root["components"][static_cast<int>(i)], "a component named " + manifest.components[i].name +
                                                                " stands above; names differ in more than case");
        }
    }
    for (size_t i = 0; i < manifest.pages.size(); ++i) {
        if (!seen.insert("p" + FoldCase(manifest.pages[i].file)).second) {
            Refuse(root["pages"][static_cast<int>(i)], "a page of this file stands above; give it another file");
        }
    }
}

Manifest ManifestReader::Read(const std::string &url) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["allowComments"] = true;
    builder["rejectDupKeys"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(m_text.data(), m_text.data() + m_text.size(), &root, &errors)) {
        throw UsageError(m_path.string() + " is no manifest:\n" + errors);
    }
    Object(root, "the manifest", {"url", "packageNames", "sections", "components", "pages"});
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
    for (const Json::Value &section : List(root, "sections")) {
        manifest.sections.push_back(ReadSection(section));
    }
    for (const Json::Value &component : List(root, "components")) {
        manifest.components.push_back(ReadComponent(component));
    }
    for (const Json::Value &page : List(root, "pages", true)) {
        manifest.pages.push_back(ReadPage(page, manifest));
    }
    RefuseTwins(root, manifest);
    return manifest;
}

} // namespace

std::string ReasonAgainstUrlRoot(std::string_view url) {
    if (!url.starts_with("http://") && !url.starts_with("https://")) {
        return "is no address that begins with http:// or https://";
    }
    if (url.size() >= kUrlRootLimit) {
        return "is too long; the extension takes fewer than 950 characters";
    }
    if (url.find_first_of("?# \t\r\n") != std::string_view::npos) {
        return "holds \"?\", \"#\" or a blank; file names and a query are appended to it";
    }
    return "";
}

Manifest ReadManifest(const fs::path &path, const std::string &url) {
    return ManifestReader(path, ReadWholeFile(path)).Read(url);
}

} // namespace lumsite
