#include "site/publish/Publisher.h"

#include <algorithm>
#include <chrono>
#include <set>

#include "lum/common/lumutil.h"
#include "site/publish/EarlierSite.h"
#include "site/Files.h"
#include "delivery/instructions/InstructionFile.h"
#include "site/publish/ItemLine.h"
#include "site/keys/SiteKeys.h"
#include "site/publish/Packer.h"
#include "site/publish/Page.h"

namespace fs = std::filesystem;

namespace lumsite {
namespace {

constexpr const char *kPackageFolder = "packages";
constexpr size_t kHashCharactersInName = 16;

// The version by which the extension would know the installed component, or empty when it could not tell.
std::string OwnVersion(const fs::path &component) {
    if (fs::is_directory(component)) {
        std::string path = component;
        char version[1024] = "";
        return GetFileVersionString(path.data(), version, sizeof version) ? version : "";
    }
    const std::string name = component.filename();
    const size_t from = name.find('-');
    const size_t to = name.rfind('.');
    return from < to && to != std::string::npos ? VersionWithCommas(name.substr(from + 1, to - from - 1)) : "";
}

// Letters that need no escape in a URL.
std::string PlainName(std::string name) {
    std::replace_if(
        name.begin(), name.end(),
        [](char c) { return !std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '_' && c != '-'; }, '_');
    return name;
}

class PublishRun {
public:
    PublishRun(const Manifest &manifest, const fs::path &site, const PublishOptions &options)
        : m_manifest(manifest), m_site(site), m_packages(site / kPackageFolder), m_options(options) {}

    PublishResult Run();

private:
    void Checkpoint(const std::string &step) const {
        if (m_options.checkpoint) {
            m_options.checkpoint(step);
        }
    }
    void ReadKeys();
    std::string VersionOf(const ManifestComponent &component);
    ItemLine MakeItem(const ManifestComponent &component);
    std::string NameOf(const ManifestComponent &component, const ItemLine &item, const fs::path &package) const;
    bool Place(TemporaryFile &package, const std::string &name, const ManifestComponent &component) const;
    void Examine(const ManifestComponent &component, const ItemLine &item);
    std::string InstructionText();
    std::map<std::string, std::string> Parameters(const ManifestPage &page) const;
    void Replace(const fs::path &name, const std::string &content);
    void RefuseHarm(const EarlierSite &earlier);
    void MarkRetired(const EarlierSite &earlier);
    void Prune();

    const Manifest &m_manifest;
    fs::path m_site;
    fs::path m_packages;
    const PublishOptions &m_options;
    std::vector<SiteKeys> m_keys; // one for each section
    std::vector<ItemLine> m_items;
    std::set<std::string> m_current; // packages that the new instruction file names, below m_packages
    PublishResult m_result;
};

void PublishRun::ReadKeys() {
    const std::string root = fs::weakly_canonical(m_site).string() + "/";
    for (const ManifestSection &section : m_manifest.sections) {
        if ((fs::weakly_canonical(section.keys).string() + "/").starts_with(root)) {
            throw SiteError(section.where + ": the keys in " + section.keys.string() +
                            " lie in the published folder; move them where no visitor can ask for them");
        }
        m_keys.emplace_back(section.keys);
        m_result.findings.insert(m_result.findings.end(), m_keys.back().findings().begin(),
                                 m_keys.back().findings().end());
    }
}

std::string PublishRun::VersionOf(const ManifestComponent &component) {
    const bool isLibrary = component.name.ends_with(".dylib");
    const std::string own = isLibrary ? "" : OwnVersion(component.path);
    if (component.version.empty()) {
        if (VersionWithCommas(own).empty()) {
            throw SiteError(component.where + ": " + component.name +
                            " carries no version of four numbers itself; give \"version\" in the manifest");
        }
        return own;
    }
    if (isLibrary || component.update != "version" || own == component.version) {
        return component.version;
    }
    if (!own.empty()) {
        throw SiteError(component.where + ": " + component.name + " says that it is version " + own +
                        ", the manifest says " + component.version +
                        "; visitors would fetch it on every visit. Make them the same, or leave \"version\" out");
    }
    m_result.findings.push_back(
        {Severity::Warning, component.where,
         "no version can be read from " + component.name + " once it is installed, so it is fetched on every visit",
         "give it a CFBundleVersion in Contents/Info.plist and an executable of its name in "
         "Contents/MacOS, or use \"update\": \"existence\""});
    return component.version;
}

std::string PublishRun::NameOf(const ManifestComponent &component, const ItemLine &item,
                               const fs::path &package) const {
    std::string mark = item.version;
    std::replace(mark.begin(), mark.end(), ',', '.');
    if (!m_manifest.versionInNames) {
        mark = DigestOfFile(package, "sha256").substr(0, kHashCharactersInName);
    }
    return PlainName(component.name) + "-" + mark + "." + component.format;
}

// False when the package was there already.
bool PublishRun::Place(TemporaryFile &package, const std::string &name, const ManifestComponent &component) const {
    const fs::path final = m_packages / name;
    if (fs::exists(final)) {
        if (DigestOfFile(final, "sha256") == DigestOfFile(package.path(), "sha256")) {
            return false;
        }
        if (m_manifest.versionInNames) {
            throw SiteError(
                component.where + ": " + name +
                " was published with other content, which visitors may be fetching now; raise the version, or "
                "use \"packageNames\": \"content\"");
        }
    }
    package.Commit(final);
    return true;
}

// Refuses what the extension would stumble over.
void PublishRun::Examine(const ManifestComponent &component, const ItemLine &item) {
    for (Finding finding : ExamineItem(SplitItemLine(ToText(item)))) {
        if (finding.severity == Severity::Error) {
            throw SiteError(component.where + ": " + finding.what + "; " + finding.remedy);
        }
        finding.where = component.where;
        m_result.findings.push_back(std::move(finding));
    }
}

ItemLine PublishRun::MakeItem(const ManifestComponent &component) {
    if (!fs::exists(component.path)) {
        throw SiteError(component.where + ": there is no " + component.path.string() +
                        "; paths start from the manifest's folder");
    }
    if (component.name.ends_with(".dylib") && !fs::is_regular_file(component.path)) {
        throw SiteError(component.where + ": " + component.path.string() + " is no file, and a library must be one");
    }
    ItemLine item;
    item.name = component.name;
    item.target = component.target;
    item.version = VersionOf(component);
    item.action = component.action;
    item.updateControl = component.update;
    item.failureControl = component.failure;
    item.osVersion = component.osVersion;
    item.hashMethod = component.hash;

    TemporaryFile package(m_packages);
    PackOptions pack;
    pack.format = component.format;
    pack.linksAsFiles = component.linksAsFiles;
    const PackResult packed = Pack(component.path, package.path(), pack);
    for (const std::string &warning : packed.warnings) {
        m_result.findings.push_back({Severity::Warning, component.where, warning, "pack the link as a link"});
    }
    item.fileSize = packed.unpackedSize;
    item.compressedSize = fs::file_size(package.path());
    item.hashValue = DigestOfFile(package.path(), component.hash);
    const std::string name = NameOf(component, item, package.path());
    item.url = std::string(kPackageFolder) + "/" + name;
    item.signature = m_keys.front().Sign(item.hashValue);
    Examine(component, item);
    if (!m_current.insert(name).second) {
        throw SiteError(component.where + ": another component's package is named " + name +
                        " too; rename one of the components");
    }
    Checkpoint("package " + name);
    const bool written = Place(package, name, component);
    m_result.items.push_back({item.name, item.url, written, InstalledLibraryName(item.name, item.version)});
    return item;
}

std::string PublishRun::InstructionText() {
    std::string text;
    for (size_t s = 0; s < m_keys.size(); ++s) {
        text += "[" + m_manifest.sections[s].name + "]\nCount=" + std::to_string(m_items.size()) + "\n";
        for (size_t i = 0; i < m_items.size(); ++i) {
            ItemLine item = m_items[i];
            item.signature = m_keys[s].Sign(item.hashValue);
            text += "File" + std::to_string(i + 1) + "=" + ToText(item) + "\n";
        }
    }
    // Read it back: a long or bracketed line shows only in the whole.
    for (const Finding &fault : ReadInstructions(text).faults) {
        throw SiteError(fault.where + " (not published): " + fault.what + "; " + fault.remedy);
    }
    return text;
}

std::map<std::string, std::string> PublishRun::Parameters(const ManifestPage &page) const {
    std::map<std::string, std::string> parameters = page.parameters;
    parameters["LumUrlRoot"] = m_manifest.url;
    parameters["LumComponentName"] = page.component;
    for (size_t s = 0; s < m_keys.size(); ++s) {
        if (m_manifest.sections[s].name == page.section) {
            parameters["lumcertification"] = ToCertification(m_keys[s].chain());
        }
    }
    if (page.section != kDefaultSection) {
        parameters["LumActiveIniSection"] = page.section;
    }
    return parameters;
}

void PublishRun::Replace(const fs::path &name, const std::string &content) {
    Checkpoint("replace " + name.string());
    if (ReplaceFile(m_site / name, content)) {
        m_result.written.push_back(name);
    }
}

void PublishRun::RefuseHarm(const EarlierSite &earlier) {
    for (size_t s = 0; s < m_keys.size(); ++s) {
        const ManifestSection &section = m_manifest.sections[s];
        if (!m_options.replaceKeys && earlier.IsSignedByOther(section.name, m_keys[s].chain())) {
            throw SiteError(section.where + ": section " + section.name +
                            " was signed by another key until now, and visitors who hold an earlier page would refuse "
                            "every package; give the new key a section of its own beside it, or use --replace-keys");
        }
    }
    for (const ManifestPage &page : m_manifest.pages) {
        if (earlier.exists() && !earlier.HasSection(page.section)) {
            m_result.findings.push_back(
                {Severity::Warning, page.where,
                 "section " + page.section +
                     " of this page is new; visitors with a saved instruction file cannot start",
                 "publish the section first, and name it in the page a day later"});
        }
    }
}

// A package that falls out of the instruction file gets the time of this moment, from which pruning counts.
void PublishRun::MarkRetired(const EarlierSite &earlier) {
    const std::string prefix = std::string(kPackageFolder) + "/";
    for (const std::string &url : earlier.PackageUrls()) {
        const std::string name = url.starts_with(prefix) ? url.substr(prefix.size()) : "";
        if (!name.empty() && name.find('/') == std::string::npos && m_current.count(name) == 0 &&
            fs::exists(m_packages / name)) {
            fs::last_write_time(m_packages / name, fs::file_time_type::clock::now());
        }
    }
}

void PublishRun::Prune() {
    const auto limit = fs::file_time_type::clock::now() - std::chrono::hours(*m_options.pruneAfterHours);
    std::vector<fs::path> old;
    for (const fs::directory_entry &entry : fs::directory_iterator(m_packages)) {
        const std::string name = entry.path().filename();
        if (entry.is_regular_file() && !entry.is_symlink() && m_current.count(name) == 0 &&
            entry.last_write_time() <= limit) {
            old.push_back(entry.path());
        }
    }
    std::sort(old.begin(), old.end());
    for (const fs::path &path : old) {
        Checkpoint("remove " + path.filename().string());
        fs::remove(path);
        m_result.removed.push_back(fs::path(kPackageFolder) / path.filename());
    }
}

PublishResult PublishRun::Run() {
    ReadKeys();
    fs::create_directories(m_packages);
    const FolderLock lock(m_site);
    RemoveStaleTemporaries(m_site);
    RemoveStaleTemporaries(m_packages);
    const EarlierSite earlier(m_site);
    RefuseHarm(earlier);
    for (const ManifestComponent &component : m_manifest.components) {
        m_items.push_back(MakeItem(component));
    }
    const std::string instructions = InstructionText();
    Checkpoint("retire");
    MarkRetired(earlier);
    Replace(kInstructionFileName, instructions);
    for (const ManifestPage &page : m_manifest.pages) {
        Replace(page.file, WritePage(page.title, Parameters(page)));
    }
    if (m_options.pruneAfterHours) {
        Prune();
    }
    Checkpoint("done");
    return std::move(m_result);
}

} // namespace

PublishResult Publish(const Manifest &manifest, const fs::path &site, const PublishOptions &options) {
    try {
        return PublishRun(manifest, site, options).Run();
    } catch (const fs::filesystem_error &error) {
        throw SiteError(std::string("cannot publish: ") + error.what());
    }
}

} // namespace lumsite
