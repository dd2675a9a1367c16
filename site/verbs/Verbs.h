// The verbs of lumsite. Each takes the arguments after its name and returns the exit status: 0 done, 1 not done. A
// command line or a manifest that cannot be understood throws UsageError, any other failure SiteError.
#pragma once

#include <string>
#include <vector>

namespace lumsite {

int RunInit(const std::vector<std::string> &arguments);
int RunPack(const std::vector<std::string> &arguments);
int RunPublish(const std::vector<std::string> &arguments);
int RunServe(const std::vector<std::string> &arguments);
int RunCheck(const std::vector<std::string> &arguments);

// The whole program: `arguments` without the program's name. Returns 0, 1 or 2 (usage) and reports on standard error.
int RunLumsite(const std::vector<std::string> &arguments);

} // namespace lumsite
