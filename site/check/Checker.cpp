#include "site/check/Checker.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "base/Files.h"
#include "base/FolderNames.h"
#include "delivery/page/PageObjects.h"
#include "site/check/CertificateCheck.h"
#include "site/check/PackageCheck.h"
#include "site/check/PageCheck.h"
#include "site/check/ReleaseCheck.h"
#include "site/check/SectionCheck.h"
#include "site/check/SiteSource.h"
#include "site/keys/Signatures.h"
#include "delivery/instructions/InstructionFile.h"
#include "delivery/instructions/ItemLine.h"
#include "site/publish/ItemLine.h"
#include "site/publish/StartRule.h"

namespace fs = std::filesystem;

namespace lumsite {

using namespace delivery;

namespace {

using base::Fail;
using base::Findings;
using base::Result;
using base::Severity;

constexpr std::uint64_t kLargestText = 16 << 20;
constexpr const char *kUsualPage = "index.html";

// The part of a package's URL in front of the hash of its content ("packages/x-1.2.3.4-"), and the part behind it;
// both empty when the name has no such hash.
std::pair<std::string, std::string> AroundHash(const std::string &url) {
    constexpr std::size_t kDigits = 16;
    const std::size_t hash = url.rfind('-') + 1;
    const std::size_t end = url.find_first_not_of("0123456789abcdef", hash);
    if (hash == 0 || end == std::string::npos || end != hash + kDigits) {
        return {};
    }
    return {url.substr(0, hash), url.substr(end)};
}

// A fetched text, or why there is none.
Result<std::string> FetchText(SiteSource &source, const std::string &name) {
    const SiteSource::File file = source.Fetch(name, kLargestText);
    if (file.path.empty()) {
        return Fail(file.reason);
    }
    return base::ReadWhole(file.path, kLargestText);
}

class SiteCheck {
public:
    SiteCheck(const std::string &place, const CheckOptions &options, std::unique_ptr<SiteSource> source,
              base::StagedFile copy)
        : m_place(place), m_options(options), m_source(std::move(source)), m_copy(std::move(copy)) {}

    CheckReport Run();

private:
    void Add(Severity severity, const std::string &where, const std::string &what, const std::string &remedy) {
        m_report.findings.push_back({severity, where, what, remedy});
    }
    void Append(const Findings &findings) {
        m_report.findings.insert(m_report.findings.end(), findings.begin(), findings.end());
    }
    bool FetchInstructions();
    void CheckRelease();
    std::vector<std::string> Pages() const;
    bool IsStartPage(const std::string &name) const;
    void CheckPage(const std::string &page);
    void CheckObject(const delivery::PageObject &object, const std::string &title);
    void CheckComponent(const delivery::PageObject &object, const std::string &title, const std::string &section);
    void CheckSignatures(const std::string &section, const std::string &certification);
    void WarnOfSameVersion(const SectionItem &item);
    // The section's items; its lines and packages are examined the first time.
    const std::vector<SectionItem> &Items(const std::string &section);

    std::string m_place;
    const CheckOptions &m_options;
    std::unique_ptr<SiteSource> m_source;
    base::StagedFile m_copy; // of the instruction file
    bool m_hasInstructions = false;
    InstructionFile m_instructions;
    std::string m_instructionText;
    std::map<std::string, std::vector<SectionItem>> m_items; // by section
    std::set<std::string> m_packages;                        // examined
    std::set<std::string> m_certifications;                  // examined
    std::set<std::string> m_signatures;                      // section and certification, examined
    CheckReport m_report;
};

bool SiteCheck::FetchInstructions() {
    const Result<std::string> text = FetchText(*m_source, kInstructionFileName);
    const Result<void> copied = text ? base::WriteAll(m_copy.descriptor(), *text) : Result<void>(Fail(text.error()));
    if (!copied) {
        Add(Severity::Error, m_source->Title(kInstructionFileName),
            "the instruction file cannot be downloaded: " + copied.error().text,
            "publish the site, or check the folder or address that is its root");
        return false;
    }
    m_instructions = ReadInstructions(*text);
    Append(m_instructions.faults);
    m_instructionText = *text;
    return true;
}

bool SiteCheck::IsStartPage(const std::string &name) const {
    if (name.front() == '.' || !name.ends_with(".html")) {
        return false;
    }
    const Result<std::string> html = base::ReadWhole(fs::path(m_place) / name, kLargestText);
    return html && !delivery::ReadObjects(*html, 1).empty();
}

std::vector<std::string> SiteCheck::Pages() const {
    if (!m_options.page.empty()) {
        return {m_options.page};
    }
    std::vector<std::string> pages;
    if (!IsWebAddress(m_place)) {
        pages = base::NamesIn(m_place).value_or(pages);
        std::erase_if(pages, [this](const std::string &name) { return !IsStartPage(name); });
    }
    if (pages.empty()) {
        pages.push_back(kUsualPage);
    }
    return pages;
}

// A package that was replaced stays for some time, so that this can be seen in the folder.
void SiteCheck::WarnOfSameVersion(const SectionItem &item) {
    const std::string &url = item.attributes[kUrl];
    std::string version = "-" + item.attributes[kVersion] + "-";
    std::ranges::replace(version, ',', '.');
    const auto [before, after] = AroundHash(url);
    if (IsWebAddress(m_place) || !before.ends_with(version) || item.attributes[kUpdateControl] != "version") {
        return;
    }
    const fs::path folder = fs::path(url).parent_path();
    const Result<std::vector<std::string>> names = base::NamesIn(fs::path(m_place) / folder);
    for (const std::string &name : names.value_or(std::vector<std::string>())) {
        const std::string other = folder / name;
        if (other != url && AroundHash(other) == std::pair(before, after)) {
            Add(Severity::Warning, item.where,
                item.attributes[kName] + " was published with other content under the same version (" + other +
                    "); visitors who installed that keep it",
                "raise the version and publish again");
        }
    }
}

const std::vector<SectionItem> &SiteCheck::Items(const std::string &section) {
    const auto found = m_items.find(section);
    if (found != m_items.end()) {
        return found->second;
    }
    std::vector<SectionItem> &items = m_items[section];
    items = ReadSection(m_copy.path(), m_instructions, section, m_report.findings);
    for (const SectionItem &item : items) {
        // Sections of one site differ only in their signatures, so their packages are examined once.
        std::string mark;
        for (std::size_t i = 0; i < std::min<std::size_t>(item.attributes.size(), kSignature); ++i) {
            mark += item.attributes[i] + ";";
        }
        if (m_packages.insert(mark).second && ExaminePackage(*m_source, item, m_report.findings)) {
            ++m_report.items;
            WarnOfSameVersion(item);
        }
    }
    return items;
}

void SiteCheck::CheckSignatures(const std::string &section, const std::string &certification) {
    const std::vector<SectionItem> &items = Items(section);
    const SiteCertificateKey key(certification);
    if (!key.valid() || !m_signatures.insert(section + "\n" + certification).second) {
        return; // a certificate without a key has its own finding
    }
    for (const SectionItem &item : items) {
        if (item.attributes.size() >= kAttributes && !item.attributes[kSignature].empty() &&
            !key.Verifies(item.attributes[kHashValue], item.attributes[kSignature])) {
            Add(Severity::Error, item.where,
                "the signature of " + item.attributes[kName] + " was not made by the key of the page's certificate",
                "publish page and section with the same keys; while two keys are in use, give each its own section");
        }
    }
}

void SiteCheck::CheckComponent(const delivery::PageObject &object, const std::string &title,
                               const std::string &section) {
    const std::string name = object.Value("LumComponentName");
    if (name.empty() || !m_instructions.Find(section)) {
        return;
    }
    const std::string where = title + ":" + std::to_string(object.Find("LumComponentName")->line);
    std::vector<OfferedItem> offered;
    for (const SectionItem &item : Items(section)) {
        if (item.attributes.size() >= kRequiredAttributes) {
            offered.push_back({item.attributes[kName], item.attributes[kTarget]});
        }
    }
    if (std::ranges::none_of(offered, [&](const OfferedItem &item) { return FoldCase(item.name) == FoldCase(name); })) {
        Add(Severity::Error, where,
            "LumComponentName " + name + " is not an item of section [" + section + "], so nothing can be started",
            "name one of the components, or publish this one");
    }
    const StartFault fault = FaultOfStart([&](const char *parameter) { return object.Value(parameter); }, offered);
    if (!fault.what.empty()) {
        Add(Severity::Error, where, "LumComponentName " + name + " " + fault.what, fault.remedy);
    }
}

void SiteCheck::CheckObject(const delivery::PageObject &object, const std::string &title) {
    Append(ExamineParameters(object, title, IsWebAddress(m_place) ? m_place : ""));
    const std::string certification = object.Value("lumcertification");
    if (m_certifications.insert(certification).second) {
        const delivery::PageParameter *parameter = object.Find("lumcertification");
        const int line = parameter ? parameter->line : object.line;
        Append(ExamineCertification(certification, title + ":" + std::to_string(line), m_options.trusted,
                                    m_options.soonDays));
    }
    if (!m_hasInstructions) {
        return;
    }
    std::string section = m_options.section;
    if (section.empty()) {
        section = object.Find("LumActiveIniSection") ? object.Value("LumActiveIniSection") : kDefaultSection;
    }
    CheckSignatures(section, certification);
    CheckComponent(object, title, section);
}

void SiteCheck::CheckPage(const std::string &page) {
    const std::string title = m_source->Title(page);
    const Result<std::string> html = FetchText(*m_source, page);
    if (!html) {
        Add(Severity::Error, title, "the page cannot be downloaded: " + html.error().text,
            "name the page that starts the extension with --page");
        return;
    }
    const std::vector<delivery::PageObject> objects = delivery::ReadObjects(*html);
    if (objects.empty()) {
        Add(Severity::Error, title, "the page has no object of type application/x-lum",
            "embed the object that publish writes, or name another page with --page");
        return;
    }
    ++m_report.pages;
    for (const delivery::PageObject &object : objects) {
        CheckObject(object, title);
    }
}

// Visitors of a release get the packages of every section from it.
void SiteCheck::CheckRelease() {
    const std::vector<std::string> urls = PackageUrls(m_instructions);
    const std::set<std::string> packages(urls.begin(), urls.end()); // sections name the same ones
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    Append(ExamineRelease(*m_source, m_instructionText, {packages.begin(), packages.end()},
                          {m_options.root, m_options.visitor, m_options.soonDays, m_options.now.value_or(now)}));
}

CheckReport SiteCheck::Run() {
    m_hasInstructions = FetchInstructions();
    for (const std::string &page : Pages()) {
        CheckPage(page);
    }
    if (m_hasInstructions && m_items.empty()) {
        Items(m_options.section.empty() ? kDefaultSection : m_options.section); // the lines, at least
    }
    CheckRelease();
    return std::move(m_report);
}

} // namespace

Result<CheckReport> CheckSite(const std::string &place, const CheckOptions &options) {
    Result<std::unique_ptr<SiteSource>> source = OpenSite(place);
    if (!source) {
        return Fail(std::move(source.error()));
    }
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    if (error) {
        return base::SystemFailure("cannot find the folder for temporary files (TMPDIR)", error.value());
    }
    Result<base::StagedFile> copy = base::StagedFile::Make(folder);
    if (!copy) {
        return Fail(std::move(copy.error()));
    }
    return SiteCheck(place, options, std::move(*source), std::move(*copy)).Run();
}

} // namespace lumsite
