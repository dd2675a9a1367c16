#include "site/publish/EarlierSite.h"

#include "site/Files.h"
#include "site/publish/ItemLine.h"
#include "site/keys/Signatures.h"

namespace lumsite {

EarlierSite::EarlierSite(const std::filesystem::path &site)
    : m_exists(std::filesystem::exists(site / kInstructionFileName)) {
    if (m_exists) {
        m_instructions = ReadInstructions(ReadWholeFile(site / kInstructionFileName));
    }
}

bool EarlierSite::IsSignedByOther(std::string_view name, const std::vector<Certificate> &chain) const {
    const InstructionSection *section = m_instructions.Find(name);
    if (!section) {
        return false;
    }
    const SiteCertificateKey key(ToCertification(chain));
    for (const InstructionEntry &entry : section->entries) {
        const std::vector<std::string> attributes = SplitItemLine(entry.value);
        if (FileNumber(entry.key) != 0 && attributes.size() >= kAttributes &&
            !key.Verifies(attributes[kHashValue], attributes[kSignature])) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> EarlierSite::PackageUrls() const {
    std::vector<std::string> urls;
    for (const InstructionSection &section : m_instructions.sections) {
        for (const InstructionEntry &entry : section.entries) {
            std::vector<std::string> attributes = SplitItemLine(entry.value);
            if (FileNumber(entry.key) != 0 && attributes.size() > kUrl) {
                urls.push_back(std::move(attributes[kUrl]));
            }
        }
    }
    return urls;
}

} // namespace lumsite
