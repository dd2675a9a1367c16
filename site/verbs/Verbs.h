// The verbs of lumsite. Each returns the exit status, or why it failed: status 2 for a manifest or a use that
// cannot be understood (kManifestFault), otherwise 1.
#pragma once

#include <string>
#include <vector>

#include "base/CommandLine.h"
#include "base/Result.h"

namespace lumsite {

base::Result<int> RunInit(const base::CommandLine &line);
base::Result<int> RunPack(const base::CommandLine &line);
base::Result<int> RunPublish(const base::CommandLine &line);
base::Result<int> RunRenew(const base::CommandLine &line);
base::Result<int> RunRotate(const base::CommandLine &line);
base::Result<int> RunServe(const base::CommandLine &line);
base::Result<int> RunCheck(const base::CommandLine &line);

// Makes the keys of a signed release: "init --release".
base::Result<int> RunInitRelease(const base::CommandLine &line);

// The whole program: `arguments` without the program's name. Returns 0, 1 or 2 (wrong usage) and reports on standard
// error.
int RunLumsite(const std::vector<std::string> &arguments);

} // namespace lumsite
