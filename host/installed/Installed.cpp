#include "host/installed/Installed.h"

#include <json/json.h>

#include <algorithm>

#include "base/Digest.h"
#include "base/Files.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestRecord = 256 << 20;

InstalledFile LookAt(const fs::path &path, const fs::path &folder) {
    std::error_code error;
    InstalledFile file;
    file.path = path.lexically_relative(folder).string();
    if (fs::is_symlink(path, error)) {
        file.target = fs::read_symlink(path, error).string();
        return file;
    }
    file.size = fs::file_size(path, error);
    file.sha256 = base::DigestOfFile(path).value_or("");
    return file;
}

bool SameComponent(const InstalledComponent &a, const InstalledComponent &b) {
    return a.folder == b.folder && a.name == b.name;
}

Json::Value ToJson(const InstalledComponent &component) {
    Json::Value value(Json::objectValue);
    value["folder"] = component.folder.string();
    value["name"] = component.name;
    Json::Value &files = value["files"] = Json::Value(Json::arrayValue);
    for (const InstalledFile &file : component.files) {
        Json::Value entry(Json::objectValue);
        entry["path"] = file.path;
        if (!file.target.empty()) {
            entry["link"] = file.target;
        } else {
            entry["size"] = static_cast<Json::UInt64>(file.size);
            entry["sha256"] = file.sha256;
        }
        files.append(std::move(entry));
    }
    return value;
}

std::string ToText(const std::vector<InstalledComponent> &components) {
    Json::Value root(Json::objectValue);
    root["version"] = 1;
    Json::Value &list = root["components"] = Json::Value(Json::arrayValue);
    for (const InstalledComponent &component : components) {
        list.append(ToJson(component));
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = " ";
    return Json::writeString(builder, root) + "\n";
}

InstalledComponent FromJson(const Json::Value &value) {
    InstalledComponent component;
    component.folder = value.get("folder", "").asString();
    component.name = value.get("name", "").asString();
    for (const Json::Value &entry : value["files"]) {
        InstalledFile file;
        file.path = entry.get("path", "").asString();
        file.target = entry.get("link", "").asString();
        file.size = entry.get("size", 0).asUInt64();
        file.sha256 = entry.get("sha256", "").asString();
        component.files.push_back(std::move(file));
    }
    return component;
}

} // namespace

bool IsPlainName(const std::string &name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

InstalledComponent Installed::Look(const fs::path &destination) {
    InstalledComponent component{destination.parent_path(), destination.filename().string(), {}};
    std::error_code error;
    const fs::path &folder = component.folder;
    if (!fs::is_directory(fs::symlink_status(destination, error))) {
        component.files.push_back(LookAt(destination, folder));
        const fs::path real = folder / fs::path(component.files.back().target).filename();
        if (!component.files.back().target.empty() && fs::is_regular_file(fs::symlink_status(real, error))) {
            component.files.push_back(LookAt(real, folder));
        }
        return component;
    }
    fs::recursive_directory_iterator entry(destination, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        if (std::error_code gone; !fs::is_directory(entry->symlink_status(gone))) {
            component.files.push_back(LookAt(entry->path(), folder));
        }
    }
    std::sort(component.files.begin(), component.files.end(),
              [](const InstalledFile &a, const InstalledFile &b) { return a.path < b.path; });
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
            InstalledComponent component = FromJson(value);
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
    [[maybe_unused]] const base::Result<base::FileLock> lock = base::FileLock::Wait(m_folder / "installed.lock");
    std::vector<InstalledComponent> components = Components();
    if (!change(components)) {
        return {};
    }
    return base::ReplaceFile(File(), ToText(components));
}

void Installed::RemoveFile() const {
    std::error_code ignored;
    fs::remove(File(), ignored);
}

} // namespace lumhost
