// Decides whether the extension gets an instruction file: only when everything that its lines would replace or delete
// lies in the user's "Kelvo Folder", or the user lets all sites of the page install anywhere.
//
// The extension may also take the copy of an instruction file that the placeholder window keeps, without asking the
// container. So that copy is judged before the extension is started, and put out of use when it does not pass: it may
// come from another site that may do more. For a page of a pinned site it also has to be what the release last had.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/Result.h"
#include "delivery/instructions/ListJudgement.h"
#include "delivery/page/Page.h"
#include "host/Folders.h"
#include "host/installed/Damage.h"

namespace lumhost {

class InstructionGate {
public:
    // `confined`: those of the page's sites that may install into "Kelvo Folder" only.
    InstructionGate(const Folders &folders, const delivery::Page &page, std::vector<std::string> confined,
                    Scrutiny scrutiny);

    // The page itself, and the kept copy. The Error's text says what to do.
    base::Result<void> AdmitPage() const;
    // An instruction file that has arrived. Of the components that an admitted one lists the damaged are removed, so
    // that the extension fetches them; the user is told on standard error.
    base::Result<void> Admit(const std::filesystem::path &file) const;

private:
    bool IsOfRelease(const std::filesystem::path &copy) const;
    base::Result<std::vector<delivery::ListedItem>> Items(const std::filesystem::path &file) const;
    tl::unexpected<base::Error> Refusal(const std::string &reason) const;

    const Folders m_folders;
    const Scrutiny m_scrutiny;
    const delivery::InstallPlaces m_places;
    const std::string m_section;
    const std::vector<std::string> m_sites;
    const std::vector<std::string> m_confined;
    const bool m_isFree;
};

} // namespace lumhost
