// What the folder that is about to be published offers visitors now.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"
#include "site/keys/Certificates.h"
#include "delivery/instructions/InstructionFile.h"

namespace lumsite {

class EarlierSite {
public:
    // Of a folder without an instruction file nothing is known: exists() is false and the rest empty.
    static base::Result<EarlierSite> Read(const std::filesystem::path &site);

    bool exists() const {
        return m_exists;
    }
    bool HasSection(std::string_view name) const {
        return m_instructions.Find(name) != nullptr;
    }
    // True when the section has a signature and the key of the chain's last certificate does not verify it.
    bool IsSignedByOther(std::string_view section, const std::vector<Certificate> &chain) const;
    // The attributes of the first item of that name in the section; empty when there is none.
    std::vector<std::string> ItemNamed(std::string_view section, std::string_view name) const;
    const delivery::InstructionFile &instructions() const {
        return m_instructions;
    }

private:
    bool m_exists = false;
    delivery::InstructionFile m_instructions;
};

} // namespace lumsite
