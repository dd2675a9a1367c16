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

// A name that stays in its folder: what stands in the record is used for removing.
bool IsPlainName(const std::string &name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
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
    return m_folders.data / "installed.json";
}

std::vector<InstalledComponent> Installed::Read() const {
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
    } catch (const Json::Exception &) { // not what this program wrote: as good as nothing
        components.clear();
    }
    return components;
}

bool Installed::Write(const std::vector<InstalledComponent> &components, std::string *error) const {
    Json::Value root(Json::objectValue);
    root["version"] = 1;
    Json::Value &list = root["components"] = Json::Value(Json::arrayValue);
    for (const InstalledComponent &component : components) {
        list.append(ToJson(component));
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = " ";
    const base::Result<void> written = base::ReplaceFile(File(), Json::writeString(builder, root) + "\n");
    if (!written && error) {
        *error = std::generic_category().message(written.error().code);
    }
    return written.has_value();
}

bool Installed::Record(const std::vector<InstalledComponent> &added, std::string *error) const {
    if (added.empty()) {
        return true;
    }
    if (const base::Result<void> made = base::MakeFolder(m_folders.data); !made) {
        if (error) {
            *error = std::generic_category().message(made.error().code);
        }
        return false;
    }
    const auto lock = base::FileLock::Wait(m_folders.data / "installed.lock");
    std::vector<InstalledComponent> components = Read();
    for (const InstalledComponent &component : added) {
        std::erase_if(components, [&](const InstalledComponent &old) { return SameComponent(old, component); });
        components.push_back(component);
    }
    return Write(components, error);
}

unsigned Installed::Remove(const std::string &name, std::vector<std::string> &errors) const {
    if (!IsPlainName(name)) {
        return 0;
    }
    const auto lock = base::FileLock::Wait(m_folders.data / "installed.lock");
    std::vector<InstalledComponent> kept;
    std::vector<fs::path> doomed;
    for (InstalledComponent &component : Read()) {
        if (component.name != name) {
            kept.push_back(std::move(component));
            continue;
        }
        doomed.push_back(component.folder / name);
        for (const InstalledFile &file : component.files) { // a library's file under its versioned name
            if (IsPlainName(file.path) && file.path != name) {
                doomed.push_back(component.folder / file.path);
            }
        }
    }
    for (const ComponentState &state : States()) {
        if (!state.recorded && state.name == name) {
            doomed.push_back(state.folder / name);
        }
    }
    unsigned removed = 0;
    for (const fs::path &path : doomed) {
        std::error_code error;
        if (fs::remove_all(path, error) > 0 && !error && path.filename() == name) {
            ++removed;
        }
        if (error) {
            errors.push_back(path.string() + ": " + error.message());
        }
    }
    std::string error;
    if (!doomed.empty() && errors.empty() && !Write(kept, &error)) {
        errors.push_back("the record cannot be written: " + error);
    }
    return removed;
}

unsigned Installed::RemoveAll(std::vector<std::string> &errors) const {
    unsigned removed = 0;
    std::vector<std::string> names;
    for (const ComponentState &state : States()) {
        names.push_back(state.name);
    }
    for (const std::string &name : names) {
        removed += Remove(name, errors);
    }
    std::error_code error;
    fs::remove_all(m_folders.installed, error);
    if (error) {
        errors.push_back(m_folders.installed.string() + ": " + error.message());
    }
    if (errors.empty()) {
        fs::remove(File(), error);
    }
    return removed;
}

} // namespace lumhost
