#include "site/check/PackageCheck.h"

#include <limits>
#include <optional>

#include "base/Text.h"
#include "lum/common/lumutil.h"
#include "site/publish/ItemLine.h"
#include "site/SiteError.h"
#include "site/publish/Packer.h"

namespace fs = std::filesystem;

namespace lumsite {

namespace {

using base::Finding;
using base::Findings;
using base::Severity;

constexpr std::uint64_t kLargestPackage = std::numeric_limits<std::uint32_t>::max();
constexpr const char *kPublishAgain = "publish the component again";

bool CanBeFetched(const SectionItem &item) {
    if (item.attributes.size() < kRequiredAttributes) {
        return false;
    }
    for (const Finding &finding : ExamineItem(item.attributes)) {
        if (finding.severity == Severity::Error && finding.what.starts_with("URL")) {
            return false;
        }
    }
    return true;
}

class PackageExaminer {
public:
    PackageExaminer(const SectionItem &item, const fs::path &package, Findings &findings)
        : m_item(item), m_package(package), m_findings(findings) {}

    void ExamineHash();
    void ExamineSize();
    void ExamineContent();

private:
    void Add(Severity severity, const std::string &what, const std::string &remedy) {
        m_findings.push_back({severity, m_item.where, "package " + m_item.attributes[kUrl] + " " + what, remedy});
    }
    void CompareSize(Attribute attribute, const char *what, std::uint64_t real);

    const SectionItem &m_item;
    const fs::path &m_package;
    Findings &m_findings;
};

void PackageExaminer::ExamineHash() {
    const std::string &method = m_item.attributes[kHashMethod];
    const std::string hash = method == "sha1"     ? Sha1OfFile(m_package)
                             : method == "sha256" ? Sha256OfFile(m_package)
                                                  : std::string();
    if (hash.empty()) {
        Add(Severity::Error, "has no hash by \"" + method + "\"", kPublishAgain);
    } else if (hash != m_item.attributes[kHashValue]) {
        Add(Severity::Error, "has the hash " + hash + ", not the one in the line",
            "restore the package that was published, or publish the component again");
    }
}

void PackageExaminer::CompareSize(Attribute attribute, const char *what, std::uint64_t real) {
    const std::string &text = m_item.attributes[attribute];
    if (base::ReadNumber<std::uint64_t>(text) != real) {
        Add(Severity::Warning, std::string(what) + " " + std::to_string(real) + " bytes, the line says " + text,
            kPublishAgain);
    }
}

void PackageExaminer::ExamineSize() {
    std::error_code error;
    CompareSize(kCompressedSize, "has", fs::file_size(m_package, error));
}

void PackageExaminer::ExamineContent() {
    PackageContent content;
    try {
        content = ReadPackage(m_package);
    } catch (const SiteError &error) {
        Add(Severity::Error, std::string("cannot be unpacked: ") + error.what(), kPublishAgain);
        return;
    }
    if (!content.refusedEntry.empty()) {
        Add(Severity::Error, "has the entry " + content.refusedEntry + ", which leads outside the component",
            kPublishAgain);
    }
    if (content.topLevel != std::vector<std::string>{m_item.attributes[kName]}) {
        std::string names;
        for (const std::string &name : content.topLevel) {
            names += (names.empty() ? "" : ", ") + name;
        }
        Add(Severity::Error, "holds " + (names.empty() ? "nothing" : names) + " instead of " + m_item.attributes[kName],
            "pack the component alone, under its own name (lumsite pack)");
    }
    CompareSize(kFileSize, "unpacks to", content.unpackedSize);
}

} // namespace

bool ExaminePackage(SiteSource &source, const SectionItem &item, Findings &findings) {
    if (!CanBeFetched(item)) {
        return false;
    }
    const SiteSource::File file = source.Fetch(item.attributes[kUrl], kLargestPackage);
    if (file.path.empty()) {
        findings.push_back({Severity::Error, item.where,
                            "package " + source.Title(item.attributes[kUrl]) + " cannot be fetched: " + file.reason,
                            "restore it, or publish the component again"});
        return true;
    }
    PackageExaminer examiner(item, file.path, findings);
    if (item.attributes.size() >= kAttributes) {
        examiner.ExamineHash();
    }
    examiner.ExamineSize();
    examiner.ExamineContent();
    return true;
}

} // namespace lumsite
