#include <cstdio>

#include "site/verbs/CommandLine.h"
#include "site/keys/SiteKeys.h"
#include "site/verbs/Verbs.h"

namespace lumsite {

int RunInit(const std::vector<std::string> &arguments) {
    const std::string usualName = "site" LUM_VENDOR_SUFFIX;
    CommandLine line(
        "init", "DIR",
        "Makes keys in DIR, a new folder that only you may enter: the key and the certificate by which the\n"
        "site's packages are signed, and the demonstration authority that issues the certificate.\n"
        "Nothing is overwritten. Keep DIR out of the published folder.\n",
        {{"--name", "NAME", "common name of the certificate (" + usualName + ")"},
         {"--days", "N", "how long the certificate is valid (365)"},
         {"--ca-days", "N", "how long the authority is valid (3650)"},
         {"--chain", "N", "certificates between the authority's root and the site's (0)"},
         {"--ca", "DIR", "let the authority of these keys issue, instead of a new one"},
         {"--renew", "", "issue a new certificate for the key that is in DIR"}});
    line.Parse(arguments, 1, 1);
    if (line.helpWanted()) {
        std::fputs(line.Help().c_str(), stdout);
        return 0;
    }
    const std::string &folder = line.operands()[0];
    InitOptions options;
    options.days = static_cast<int>(line.Number("--days", options.days, 1, 36500));
    if (line.Has("--renew")) {
        RenewCertificate(folder, line.Value("--name").value_or(""), options.days);
    } else {
        options.commonName = line.Value("--name").value_or(usualName);
        options.authorityDays = static_cast<int>(line.Number("--ca-days", options.authorityDays, 1, 36500));
        options.intermediates = static_cast<int>(line.Number("--chain", 0, 0, 5));
        options.issuers = line.Value("--ca").value_or("");
        MakeKeys(folder, options);
    }
    const SiteKeys keys(folder);
    const Certificate &own = keys.chain().back();
    std::printf("%s: certificate for %s, issued by %s, valid to %s\n", folder.c_str(), own.CommonName().c_str(),
                own.Issuer().c_str(), DateText(own.NotAfter()).c_str());
    return 0;
}

} // namespace lumsite
