#include <cstdio>

#include "base/Text.h"
#include "site/keys/KeyFolder.h"
#include "site/keys/SiteKeys.h"
#include "site/verbs/Verbs.h"

namespace lumsite {

namespace {

base::Result<void> MakeOrRenew(const base::CommandLine &line) {
    const std::string &folder = line.operands()[0];
    InitOptions options;
    options.days = static_cast<int>(line.Number("--days", options.days));
    if (line.Has("--renew")) {
        return RenewCertificate(folder, line.Value("--name").value_or(""), options.days);
    }
    options.commonName = line.Value("--name").value_or("site" LUM_VENDOR_SUFFIX);
    options.authorityDays = static_cast<int>(line.Number("--ca-days", options.authorityDays));
    options.bits = base::ReadNumber<int>(line.Value("--bits").value_or("")).value_or(options.bits);
    options.intermediates = static_cast<int>(line.Number("--chain", options.intermediates));
    options.issuers = line.Value("--ca").value_or("");
    return MakeKeys(folder, options);
}

} // namespace

base::Result<int> RunInit(const base::CommandLine &line) {
    if (line.Has("--release")) {
        return RunInitRelease(line);
    }
    const std::string &folder = line.operands()[0];
    return MakeOrRenew(line).and_then([&] { return SiteKeys::Read(folder); }).map([&](const SiteKeys &keys) {
        const Certificate &own = keys.chain().back();
        std::printf("%s: certificate for %s, issued by %s, valid until %s\n", folder.c_str(), own.CommonName().c_str(),
                    own.Issuer().c_str(), DateText(own.NotAfter()).c_str());
        return 0;
    });
}

} // namespace lumsite
