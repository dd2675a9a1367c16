#include "site/publish/EarlierSite.h"

#include <cerrno>
#include <cstdint>

#include "base/Files.h"
#include "site/keys/Signatures.h"
#include "delivery/instructions/ItemLine.h"

namespace lumsite {

using namespace delivery;

namespace {

constexpr std::uint64_t kLargestInstructions = 16 << 20;

} // namespace

base::Result<EarlierSite> EarlierSite::Read(const std::filesystem::path &site) {
    EarlierSite earlier;
    const base::Result<std::string> text = base::ReadWhole(site / kInstructionFileName, kLargestInstructions);
    if (text) {
        earlier.m_exists = true;
        earlier.m_instructions = ReadInstructions(*text);
    } else if (text.error().code != ENOENT) {
        return base::Fail(text.error());
    }
    return earlier;
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

std::vector<std::string> EarlierSite::ItemNamed(std::string_view section, std::string_view name) const {
    const InstructionSection *found = m_instructions.Find(section);
    for (const InstructionEntry &entry : found ? found->entries : std::vector<InstructionEntry>()) {
        std::vector<std::string> attributes = SplitItemLine(entry.value);
        if (FileNumber(entry.key) != 0 && !attributes.empty() && FoldCase(attributes[kName]) == FoldCase(name)) {
            return attributes;
        }
    }
    return {};
}

} // namespace lumsite
