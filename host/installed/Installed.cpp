#include "host/installed/Installed.h"

#include <fcntl.h>
#include <json/json.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <ctime>

#include "base/Files.h"
#include "base/QuickDigest.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestRecord = 256 << 20;
constexpr const char *kLock = "installed.lock";
constexpr std::size_t kOldDigest = 64; // letters of SHA-256

// Everything but the digest, of what is there.
InstalledFile LookAt(const fs::path &path, const fs::path &folder) {
    InstalledFile file;
    file.path = path.lexically_relative(folder).string();
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return file;
    }
    if (S_ISLNK(status.st_mode)) {
        std::error_code error;
        file.target = fs::read_symlink(path, error).string();
        return file;
    }
    file.size = static_cast<std::uint64_t>(status.st_size);
    file.executable = (status.st_mode & S_IXUSR) != 0;
    file.modified = ModifiedAt(status);
    return file;
}

InstalledFile ReadAt(const fs::path &path, const fs::path &folder) {
    InstalledFile file = LookAt(path, folder);
    const base::Result<std::uint64_t> digest =
        file.target.empty() ? base::QuickDigestOfFile(path) : base::Fail("a link");
    file.digest = digest ? DigestText(*digest) : "";
    return file;
}

InstalledComponent NewComponent(const fs::path &destination) {
    return {.folder = destination.parent_path(),
            .name = destination.filename().string(),
            .files = {},
            .installed = std::time(nullptr),
            .identity = Identify(destination)};
}

// The file that a library's link in the same folder leads to; empty when `link` is none.
fs::path LibraryOf(const InstalledFile &link, const fs::path &folder) {
    std::error_code error;
    const fs::path real = folder / fs::path(link.target).filename();
    return !link.target.empty() && fs::is_regular_file(fs::symlink_status(real, error)) ? real : fs::path();
}

bool SameComponent(const InstalledComponent &a, const InstalledComponent &b) {
    return a.folder == b.folder && a.name == b.name;
}

Json::Value ToJson(const InstalledFile &file) {
    Json::Value entry(Json::objectValue);
    entry["path"] = file.path;
    if (!file.target.empty()) {
        entry["link"] = file.target;
        return entry;
    }
    entry["size"] = static_cast<Json::UInt64>(file.size);
    entry[file.digest.size() == kOldDigest ? "sha256" : "xxh3"] = file.digest;
    if (file.executable) {
        entry["runs"] = true;
    }
    entry["time"] = static_cast<Json::Int64>(file.modified);
    return entry;
}

InstalledFile FileFromJson(const Json::Value &entry) {
    InstalledFile file;
    file.path = entry.get("path", "").asString();
    file.target = entry.get("link", "").asString();
    file.size = entry.get("size", 0).asUInt64();
    file.digest = entry.get(entry.isMember("sha256") ? "sha256" : "xxh3", "").asString();
    file.executable = entry.get("runs", false).asBool();
    file.modified = entry.get("time", 0).asInt64();
    return file;
}

Json::Value ToJson(const InstalledSource &source) {
    Json::Value value(Json::objectValue);
    value["site"] = source.site;
    value["page"] = source.page;
    for (const auto &[name, text] : source.parameters) {
        value["parameters"][name] = text;
    }
    return value;
}

InstalledSource SourceFromJson(const Json::Value &value) {
    InstalledSource source{value.get("site", "").asString(), value.get("page", "").asString()};
    for (const std::string &name : value["parameters"].getMemberNames()) {
        source.parameters[name] = value["parameters"][name].asString();
    }
    return source;
}

Json::Value ToJson(const InstalledComponent &component) {
    Json::Value value(Json::objectValue);
    value["folder"] = component.folder.string();
    value["name"] = component.name;
    value["installed"] = static_cast<Json::Int64>(component.installed);
    value["number"] = static_cast<Json::UInt64>(component.identity.number);
    value["born"] = static_cast<Json::Int64>(component.identity.born);
    Json::Value &files = value["files"] = Json::Value(Json::arrayValue);
    for (const InstalledFile &file : component.files) {
        files.append(ToJson(file));
    }
    return value;
}

// Many components have one source, with a long certificate in it: it is written once.
std::string ToText(const std::vector<InstalledComponent> &components) {
    Json::Value root(Json::objectValue);
    root["version"] = 2;
    std::map<InstalledSource, unsigned> numbers;
    Json::Value &sources = root["sources"] = Json::Value(Json::arrayValue);
    Json::Value &list = root["components"] = Json::Value(Json::arrayValue);
    for (const InstalledComponent &component : components) {
        const auto [source, added] = numbers.emplace(component.source, numbers.size());
        if (added) {
            sources.append(ToJson(component.source));
        }
        Json::Value value = ToJson(component);
        value["source"] = source->second;
        list.append(std::move(value));
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = " ";
    return Json::writeString(builder, root) + "\n";
}

InstalledComponent FromJson(const Json::Value &value, const Json::Value &sources) {
    InstalledComponent component;
    component.folder = value.get("folder", "").asString();
    component.name = value.get("name", "").asString();
    component.installed = value.get("installed", 0).asInt64();
    component.identity = {value.get("number", 0).asUInt64(), value.get("born", 0).asInt64()};
    if (const Json::Value &source = value["source"]; source.isUInt() && source.asUInt() < sources.size()) {
        component.source = SourceFromJson(sources[source.asUInt()]);
    }
    for (const Json::Value &entry : value["files"]) {
        component.files.push_back(FileFromJson(entry));
    }
    return component;
}

} // namespace

bool IsPlainName(const std::string &name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

std::string DigestText(std::uint64_t digest) {
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, digest);
    return text;
}

std::int64_t ModifiedAt(const struct stat &status) {
    return std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
}

Identity Identify(const fs::path &path) {
    struct statx status {};
    if (statx(AT_FDCWD, path.c_str(), 0, STATX_INO | STATX_BTIME, &status) != 0) {
        return {};
    }
    const bool told = (status.stx_mask & STATX_BTIME) != 0;
    return {status.stx_ino, told ? status.stx_btime.tv_sec * 1'000'000'000 + status.stx_btime.tv_nsec : 0};
}

bool IsReplaced(const InstalledComponent &component) {
    const Identity now = Identify(component.path());
    return component.identity != Identity() && now != Identity() && now != component.identity;
}

InstalledSource SourceOf(const delivery::Page &page) {
    InstalledSource source;
    for (const char *name : {"LumUrlRoot", "LumComponentName", "LumActiveIniSection", "LumProductVersion",
                             "lumcertification", "lumsitelock"}) {
        if (const std::string *value = page.Find(name)) {
            source.parameters[name] = *value;
        }
    }
    if (const auto root = page.Resolve(source.parameters["LumUrlRoot"])) {
        source.parameters["LumUrlRoot"] = root->text();
        source.site = root->Origin();
    }
    source.page = page.address() ? page.address()->Origin() : "";
    return source;
}

std::string ToLine(const InstalledSource &source) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, ToJson(source));
}

InstalledSource SourceOfLine(std::string_view line) {
    try {
        Json::Value value;
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        return reader->parse(line.data(), line.data() + line.size(), &value, nullptr) ? SourceFromJson(value)
                                                                                      : InstalledSource();
    } catch (const Json::Exception &) { // not written by this program
        return {};
    }
}

InstalledComponent Installed::Look(const fs::path &destination) {
    InstalledComponent component = NewComponent(destination);
    std::error_code error;
    const fs::path &folder = component.folder;
    if (!fs::is_directory(fs::symlink_status(destination, error))) {
        component.files.push_back(ReadAt(destination, folder));
        if (const fs::path real = LibraryOf(component.files.back(), folder); !real.empty()) {
            component.files.push_back(ReadAt(real, folder));
        }
        return component;
    }
    fs::recursive_directory_iterator entry(destination, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        if (std::error_code gone; !fs::is_directory(entry->symlink_status(gone))) {
            component.files.push_back(ReadAt(entry->path(), folder));
        }
    }
    std::sort(component.files.begin(), component.files.end(),
              [](const InstalledFile &a, const InstalledFile &b) { return a.path < b.path; });
    return component;
}

InstalledComponent Installed::Take(const fs::path &destination, const std::vector<delivery::UnpackedFile> &files) {
    if (files.empty()) {
        return Look(destination);
    }
    InstalledComponent component = NewComponent(destination);
    const InstalledFile top = LookAt(destination, component.folder);
    const fs::path library = files.front().target.empty() ? LibraryOf(top, component.folder) : fs::path();
    if (!library.empty()) {
        component.files.push_back(top);
    }
    for (const delivery::UnpackedFile &unpacked : files) {
        const fs::path path = library.empty() ? component.folder / unpacked.path : library;
        if (unpacked.target.empty() && !unpacked.digest) {
            component.files.push_back(ReadAt(path, component.folder));
            continue;
        }
        component.files.push_back({.path = path.lexically_relative(component.folder).string(),
                                   .target = unpacked.target,
                                   .size = unpacked.size,
                                   .executable = unpacked.executable,
                                   .modified = LookAt(path, component.folder).modified,
                                   .digest = unpacked.digest ? DigestText(*unpacked.digest) : ""});
    }
    return component;
}

fs::path Installed::File() const {
    return m_folder / "installed.json";
}

std::vector<InstalledComponent> Installed::Components() const {
    std::vector<InstalledComponent> components;
    try {
        const std::string text = base::ReadWhole(File(), kLargestRecord).value_or("");
        Json::Value root;
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        if (!reader->parse(text.data(), text.data() + text.size(), &root, nullptr)) {
            return {};
        }
        for (const Json::Value &value : root["components"]) {
            InstalledComponent component = FromJson(value, root["sources"]);
            if (component.folder.is_absolute() && IsPlainName(component.name)) {
                components.push_back(std::move(component));
            }
        }
    } catch (const Json::Exception &) { // not written by this program
        components.clear();
    }
    return components;
}

base::Result<void> Installed::Record(const std::vector<InstalledComponent> &added) const {
    if (added.empty()) {
        return {};
    }
    return Change([&](std::vector<InstalledComponent> &components) {
        for (const InstalledComponent &component : added) {
            std::erase_if(components, [&](const InstalledComponent &old) { return SameComponent(old, component); });
            components.push_back(component);
        }
        return true;
    });
}

base::Result<void> Installed::Change(const std::function<bool(std::vector<InstalledComponent> &)> &change) const {
    if (const base::Result<void> made = base::MakeFolder(m_folder); !made) {
        return made;
    }
    // Without locks, on some network file systems, the last writer wins.
    [[maybe_unused]] const base::Result<base::FileLock> lock = base::FileLock::Wait(m_folder / kLock);
    std::vector<InstalledComponent> components = Components();
    if (!change(components)) {
        return {};
    }
    return base::ReplaceFile(File(), ToText(components));
}

void Installed::RemoveFile() const {
    std::error_code ignored;
    fs::remove(File(), ignored);
    fs::remove(m_folder / kLock, ignored);
    fs::remove(m_folder, ignored); // when nothing else is in it
}

} // namespace lumhost
