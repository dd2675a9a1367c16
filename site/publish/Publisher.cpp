#include "site/publish/Publisher.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <set>
#include <utility>

#include "base/Digest.h"
#include "base/Files.h"
#include "site/SiteLock.h"
#include "site/keys/SiteKeys.h"
#include "site/publish/ComponentItem.h"
#include "site/publish/EarlierSite.h"
#include "delivery/instructions/InstructionFile.h"
#include "delivery/instructions/ItemLine.h"
#include "site/publish/ItemLine.h"
#include "site/publish/Packer.h"
#include "site/publish/ManifestRules.h"
#include "site/publish/Page.h"
#include "site/publish/RetiredPackages.h"
#include "site/publish/SignedRelease.h"

namespace fs = std::filesystem;

namespace lumsite {

using namespace delivery;

namespace {

using base::Fail;
using base::Result;

constexpr std::size_t kHashCharactersInName = 16;
constexpr std::uint64_t kLargestText = 64 << 20;

// Only characters that need no escape in a URL.
std::string PlainName(std::string name) {
    std::ranges::replace_if(
        name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '_' && c != '-'; },
        '_');
    return name;
}

base::DigestMethod MethodOf(const ManifestComponent &component) {
    return component.hash == "sha1" ? base::DigestMethod::Sha1 : base::DigestMethod::Sha256;
}

// False when the file has this content already.
Result<bool> ReplaceIfChanged(const fs::path &file, const std::string &content) {
    std::error_code error;
    if (fs::is_regular_file(fs::symlink_status(file, error)) && base::ReadWhole(file, kLargestText) == content) {
        return false;
    }
    return base::ReplaceFile(file, content, base::Readers::Everyone).map([] { return true; });
}

class PublishRun {
public:
    PublishRun(const Manifest &manifest, const fs::path &site, const PublishOptions &options)
        : m_manifest(manifest), m_site(site), m_packages(site / kPackageFolder), m_options(options) {}

    Result<PublishResult> Run();

private:
    void Checkpoint(const std::string &step) const {
        if (m_options.checkpoint) {
            m_options.checkpoint(step);
        }
    }
    void Warn(const std::string &where, const std::string &what, const std::string &remedy) {
        m_result.findings.push_back({base::Severity::Warning, where, what, remedy});
    }
    Result<void> Work();
    Result<void> ReadKeys();
    Result<void> RefuseHarm(const EarlierSite &earlier);
    Result<void> MakeItems(const EarlierSite &earlier);
    Result<ItemLine> MakeItem(const ManifestComponent &component, const EarlierSite &earlier);
    // Visitors who have a version are not offered other content of it.
    Result<void> RefuseSameVersion(const ManifestComponent &component, const ItemLine &item, const fs::path &package,
                                   const EarlierSite &earlier) const;
    Result<void> PackInto(const fs::path &package, const ManifestComponent &component, ItemLine &item);
    Result<void> Sign(const ManifestComponent &component, ItemLine &item);
    Result<std::string> NameOf(const ManifestComponent &component, const ItemLine &item, const fs::path &package) const;
    Result<bool> Place(base::StagedFile &package, const std::string &name, const ManifestComponent &component) const;
    Result<void> Examine(const ManifestComponent &component, const ItemLine &item);
    Result<std::string> InstructionText();
    std::map<std::string, std::string> Parameters(const ManifestPage &page) const;
    Result<void> Replace(const fs::path &name, const std::string &content);
    Result<void> BeginRelease();
    Result<void> PrepareRelease(const std::string &instructions, const std::vector<std::string> &before);
    Result<void> SwitchRelease();
    Result<void> Prune();

    const Manifest &m_manifest;
    fs::path m_site;
    fs::path m_packages;
    const PublishOptions &m_options;
    std::vector<SiteKeys> m_keys; // one for each section
    std::vector<ItemLine> m_items;
    std::optional<SignedRelease> m_release;
    std::set<std::string> m_current; // packages that the new instruction file names, below m_packages
    PublishResult m_result;
    const ReleaseUpdate::Step m_step = [this](const std::string &name) { Checkpoint(name); };
};

Result<void> PublishRun::ReadKeys() {
    for (const ManifestSection &section : m_manifest.sections) {
        Result<SiteKeys> keys = SiteKeys::Read(section.keys);
        if (!keys) {
            return Fail(std::move(keys.error()));
        }
        m_result.findings.insert(m_result.findings.end(), keys->findings().begin(), keys->findings().end());
        m_keys.push_back(std::move(*keys));
    }
    return {};
}

Result<std::string> PublishRun::NameOf(const ManifestComponent &component, const ItemLine &item,
                                       const fs::path &package) const {
    std::string mark = item.version;
    std::ranges::replace(mark, ',', '.');
    if (!m_manifest.versionInNames) { // the version is there for people, and for check
        const Result<std::string> digest = base::DigestOfFile(package);
        if (!digest) {
            return Fail(digest.error());
        }
        mark += "-" + digest->substr(0, kHashCharactersInName);
    }
    return PlainName(component.name) + "-" + mark + "." + component.format;
}

// False when the package exists already.
Result<bool> PublishRun::Place(base::StagedFile &package, const std::string &name,
                               const ManifestComponent &component) const {
    const fs::path final = m_packages / name;
    std::error_code error;
    if (fs::is_regular_file(fs::symlink_status(final, error))) {
        const Result<std::string> before = base::DigestOfFile(final);
        const Result<std::string> now = base::DigestOfFile(package.path());
        if (!before || !now) {
            return Fail(before ? now.error() : before.error());
        }
        if (*before == *now) {
            return false;
        }
        if (m_manifest.versionInNames) {
            return Fail(component.where + ": " + name +
                        " was published with other content, which visitors may be downloading now; raise the "
                        "version, or use \"packageNames\": \"content\"");
        }
    }
    return package.Commit(final).map([] { return true; });
}

// Refuses what the extension would not install.
Result<void> PublishRun::Examine(const ManifestComponent &component, const ItemLine &item) {
    for (base::Finding finding : ExamineItem(SplitItemLine(ToText(item)))) {
        if (finding.severity == base::Severity::Error) {
            return Fail(component.where + ": " + finding.what + "; " + finding.remedy);
        }
        finding.where = component.where;
        m_result.findings.push_back(std::move(finding));
    }
    return {};
}

Result<void> PublishRun::PackInto(const fs::path &package, const ManifestComponent &component, ItemLine &item) {
    PackOptions options;
    options.format = component.format;
    options.linksAsFiles = component.linksAsFiles;
    const Result<PackResult> packed = Pack(component.path, package, options);
    if (!packed) {
        return Fail(packed.error());
    }
    for (const std::string &warning : packed->warnings) {
        Warn(component.where, warning, "pack the link as a link");
    }
    std::error_code error;
    item.fileSize = packed->unpackedSize;
    item.compressedSize = fs::file_size(package, error);
    Result<std::string> hash = base::DigestOfFile(package, MethodOf(component));
    const Result<std::string> name = NameOf(component, item, package);
    if (!hash || !name) {
        return Fail(hash ? name.error() : hash.error());
    }
    item.hashValue = std::move(*hash);
    item.url = std::string(kPackageFolder) + "/" + *name;
    return {};
}

Result<void> PublishRun::Sign(const ManifestComponent &component, ItemLine &item) {
    Result<std::string> signature = m_keys.front().Sign(item.hashValue);
    if (!signature) {
        return Fail(std::move(signature.error()));
    }
    item.signature = std::move(*signature);
    return Examine(component, item);
}

Result<void> PublishRun::RefuseSameVersion(const ManifestComponent &component, const ItemLine &item,
                                           const fs::path &package, const EarlierSite &earlier) const {
    if (m_options.sameVersion || component.update == "always") {
        return {};
    }
    for (const ManifestSection &section : m_manifest.sections) {
        const std::vector<std::string> before = earlier.ItemNamed(section.name, item.name);
        if (before.size() < kAttributes || before[kVersion] != item.version) {
            continue;
        }
        const base::DigestMethod method =
            before[kHashMethod] == "sha1" ? base::DigestMethod::Sha1 : base::DigestMethod::Sha256;
        const Result<std::string> digest = base::DigestOfFile(package, method);
        if (!digest) {
            return Fail(digest.error());
        }
        if (*digest != before[kHashValue]) {
            return Fail(component.where + ": version " + item.version + " of " + item.name +
                        " was published with other content, and visitors who have it would not get the new one; raise "
                        "the version, or use --same-version");
        }
    }
    return {};
}

Result<ItemLine> PublishRun::MakeItem(const ManifestComponent &component, const EarlierSite &earlier) {
    Result<ItemLine> item = DescribeComponent(component, m_result.findings);
    if (!item) {
        return item;
    }
    Result<base::StagedFile> package = base::StagedFile::Make(m_packages, base::Readers::Everyone);
    if (!package) {
        return Fail(std::move(package.error()));
    }
    const Result<void> made =
        PackInto(package->path(), component, *item)
            .and_then([&] { return RefuseSameVersion(component, *item, package->path(), earlier); })
            .and_then([&] { return Sign(component, *item); });
    if (!made) {
        return Fail(made.error());
    }
    const std::string name = fs::path(item->url).filename();
    if (!m_current.insert(name).second) {
        return Fail(component.where + ": another component's package is named " + name +
                    " too; rename one of the components");
    }
    Checkpoint("package " + name);
    const Result<bool> written = Place(*package, name, component);
    if (!written) {
        return Fail(written.error());
    }
    m_result.items.push_back({item->name, item->url, *written, InstalledLibraryName(item->name, item->version)});
    return item;
}

Result<void> PublishRun::MakeItems(const EarlierSite &earlier) {
    for (const ManifestComponent &component : m_manifest.components) {
        Result<ItemLine> item = MakeItem(component, earlier);
        if (!item) {
            return Fail(std::move(item.error()));
        }
        m_items.push_back(std::move(*item));
    }
    return {};
}

Result<std::string> PublishRun::InstructionText() {
    std::string text;
    for (std::size_t s = 0; s < m_keys.size(); ++s) {
        text += "[" + m_manifest.sections[s].name + "]\nCount=" + std::to_string(m_items.size()) + "\n";
        for (std::size_t i = 0; i < m_items.size(); ++i) {
            ItemLine item = m_items[i];
            Result<std::string> signature = m_keys[s].Sign(item.hashValue);
            if (!signature) {
                return signature;
            }
            item.signature = std::move(*signature);
            text += "File" + std::to_string(i + 1) + "=" + ToText(item) + "\n";
        }
    }
    // Read it back: a line that is too long or has brackets shows only in the whole.
    for (const base::Finding &fault : ReadInstructions(text).faults) {
        return Fail(fault.where + " (not published): " + fault.what + "; " + fault.remedy);
    }
    return text;
}

std::map<std::string, std::string> PublishRun::Parameters(const ManifestPage &page) const {
    std::map<std::string, std::string> parameters = page.parameters;
    parameters["LumUrlRoot"] = m_manifest.url;
    parameters["LumComponentName"] = page.component;
    for (std::size_t s = 0; s < m_keys.size(); ++s) {
        if (m_manifest.sections[s].name == page.section) {
            parameters["lumcertification"] = ToCertification(m_keys[s].chain());
        }
    }
    if (page.section != kDefaultSection) {
        parameters["LumActiveIniSection"] = page.section;
    }
    return parameters;
}

Result<void> PublishRun::Replace(const fs::path &name, const std::string &content) {
    Checkpoint("replace " + name.string());
    const Result<bool> replaced = ReplaceIfChanged(m_site / name, content);
    if (!replaced) {
        return Fail(replaced.error());
    }
    if (*replaced) {
        m_result.written.push_back(name);
    }
    return {};
}

Result<void> PublishRun::RefuseHarm(const EarlierSite &earlier) {
    for (std::size_t s = 0; s < m_keys.size(); ++s) {
        const ManifestSection &section = m_manifest.sections[s];
        if (!m_options.replaceKeys && earlier.IsSignedByOther(section.name, m_keys[s].chain())) {
            return Fail(section.where + ": section " + section.name +
                        " was signed by another key until now, and visitors with an earlier page would reject every "
                        "package; give the new key a section of its own beside it, or use --replace-keys");
        }
    }
    for (const ManifestPage &page : m_manifest.pages) {
        if (earlier.exists() && !earlier.HasSection(page.section)) {
            Warn(page.where,
                 "section " + page.section +
                     " of this page is new; visitors with a saved instruction file cannot start",
                 "publish the section first, and name it in the page a day later");
        }
    }
    return {};
}

Result<void> PublishRun::BeginRelease() {
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    return SignedRelease::Begin(m_manifest, m_site, m_options.now.value_or(now))
        .map([&](std::optional<SignedRelease> &&release) { m_release = std::move(release); });
}

Result<void> PublishRun::PrepareRelease(const std::string &instructions, const std::vector<std::string> &before) {
    std::set<std::string> packages;
    for (const PublishedItem &item : m_result.items) {
        packages.insert(item.package);
    }
    return m_release ? m_release->Prepare(instructions, packages, before, m_step) : Result<void>();
}

Result<void> PublishRun::SwitchRelease() {
    if (!m_release) {
        return {};
    }
    std::ranges::move(m_release->Written(), std::back_inserter(m_result.written));
    std::ranges::move(m_release->Warnings(), std::back_inserter(m_result.findings));
    return m_release->Switch(m_step);
}

Result<void> PublishRun::Prune() {
    const auto outdated = OutdatedPackages(m_packages, m_current, std::chrono::hours(*m_options.pruneAfterHours));
    if (!outdated) {
        return Fail(outdated.error());
    }
    for (const std::string &name : *outdated) {
        Checkpoint("remove " + name);
        std::error_code error;
        if (!fs::remove(m_packages / name, error)) {
            return base::SystemFailure("cannot remove " + (m_packages / name).string(), error.value());
        }
        m_result.removed.push_back(fs::path(kPackageFolder) / name);
    }
    const Result<std::vector<std::string>> removed = m_release ? m_release->Prune(m_step) : std::vector<std::string>();
    return removed.map([&](const auto &names) { std::ranges::copy(names, std::back_inserter(m_result.removed)); });
}

Result<void> PublishRun::Work() {
    base::RemoveUnfinished(m_site);
    base::RemoveUnfinished(m_packages);
    const Result<EarlierSite> earlier = EarlierSite::Read(m_site);
    if (!earlier) {
        return Fail(earlier.error());
    }
    const Result<void> made = RefuseHarm(*earlier)
                                  .and_then([&] { return RefuseIdlePages(m_manifest); })
                                  .and_then([&] { return BeginRelease(); })
                                  .and_then([&] { return MakeItems(*earlier); });
    if (!made) {
        return made;
    }
    const Result<std::string> instructions = InstructionText();
    if (!instructions) {
        return Fail(instructions.error());
    }
    const std::vector<std::string> before = PackageUrls(earlier->instructions());
    if (Result<void> prepared = PrepareRelease(*instructions, before); !prepared) {
        return prepared;
    }
    Checkpoint("retire");
    MarkRetiredPackages(m_packages, m_current, before);
    Result<void> done = Replace(kInstructionFileName, *instructions);
    for (auto page = m_manifest.pages.begin(); done && page != m_manifest.pages.end(); ++page) {
        done = Replace(page->file, WritePage(page->title, Parameters(*page)));
    }
    done = done.and_then([&] { return SwitchRelease(); });
    if (done && m_options.pruneAfterHours) {
        done = Prune();
    }
    Checkpoint("done");
    return done;
}

Result<PublishResult> PublishRun::Run() {
    if (const Result<void> ready =
            RefuseKeysInside(m_manifest, m_site).and_then([&] { return ReadKeys(); }).and_then([&] {
                return base::MakeFolder(m_packages, base::Readers::Everyone);
            });
        !ready) {
        return Fail(ready.error());
    }
    const Result<base::FileLock> lock = LockSite(m_site);
    if (!lock) {
        return Fail(lock.error());
    }
    return Work().map([&] { return std::move(m_result); });
}

} // namespace

Result<PublishResult> Publish(const Manifest &manifest, const fs::path &site, const PublishOptions &options) {
    return PublishRun(manifest, site, options).Run();
}

} // namespace lumsite
