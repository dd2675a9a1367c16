#include "site/check/PackageCheck.h"

#include <limits>
#include <optional>

#include "base/Text.h"
#include "delivery/package/PackageContent.h"
#include "lum/common/lumutil.h"
#include "delivery/instructions/ItemLine.h"

namespace fs = std::filesystem;

namespace lumsite {

using namespace delivery;

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
    std::error_code error; // CheckSite has found the folder before
    // By the rules and limits of an installation, so that what is called good here is what can be installed.
    const auto content = delivery::ReadPackageContent(m_package, fs::temp_directory_path(error));
    if (!content && content.error().code >= delivery::kUnpackNoSpace) {
        Add(Severity::Error, "cannot be unpacked on this computer: " + content.error().text,
            "free some space, or name another folder by TMPDIR, and check again");
        return;
    }
    if (!content) {
        Add(Severity::Error, "cannot be installed: " + content.error().text,
            "pack the component alone, under its own name, and without what leads out of it (lumsite pack)");
        return;
    }
    if (content->component != m_item.attributes[kName]) {
        Add(Severity::Error, "holds " + content->component + " instead of " + m_item.attributes[kName],
            "pack the component under its own name (lumsite pack)");
    }
    CompareSize(kFileSize, "unpacks to", content->unpackedSize);
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
