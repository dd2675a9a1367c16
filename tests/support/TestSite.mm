#include "tests/support/TestSite.h"

#include <gtest/gtest.h>

#import <Foundation/Foundation.h>

#include "base/Files.h"
#include "base/UserFolders.h"

#include "lum/common/lumutil.h"
#include "lum/security/CertificateServices.h"
#include "tests/support/TestCertificates.h"

namespace {

std::string Base64(std::string_view bytes) {
    NSData *data = [NSData dataWithBytes:bytes.data() length:bytes.size()];
    return [[data base64EncodedStringWithOptions:0] UTF8String];
}

} // namespace

SiteIdentity TestSite::MakeIdentity(const TempDir &place, const std::string &commonName, const std::string &label) {
    const TestCertificate authority({.commonName = "Test Authority " + label, .isAuthority = true});
    const TestCertificate site({.commonName = commonName, .organisation = "", .toDay = 20, .key = KeyKind::Rsa2048},
                               authority);
    place.Write(label + "-ca.pem", authority.Pem());
#ifdef LUM_STRICT_TRUST // what the page supplies is no anchor then: the test's user trusts the authority
    EXPECT_TRUE(
        base::ReplaceFile(base::ConfigFolder() / "lum/certificates/trusted" / (label + ".pem"), authority.Pem()));
#endif
    SiteIdentity identity;
    identity.keyFile = place.Write(label + ".key", site.KeyPem());
    identity.certificate = Base64(site.der());
    identity.certification = Base64(authority.der()) + "|" + identity.certificate;
    return identity;
}

std::string TestSite::Sign(const SiteIdentity &identity, std::string_view text) {
    NSData *signature = SignDataWithSSL(identity.keyFile.c_str(), [NSData dataWithBytes:text.data()
                                                                                 length:text.size()]);
    EXPECT_TRUE(signature);
    return Base64({static_cast<const char *>([signature bytes]), [signature length]});
}

std::string TestSite::ItemLine(const SiteIdentity &identity, const Item &item, const std::string &packageFile) {
    const std::string hash = Sha256OfFile(packageFile);
    const std::string size = std::to_string(std::filesystem::file_size(packageFile));
    const std::string &url = item.url.empty() ? item.name : item.url;
    return item.name + ";" + url + ";" + item.target + ";" + item.version + ";" + size + ";" + size + ";;" +
           item.update + ";" + item.failure + ";0;" + hash + ";sha256;" + Sign(identity, hash);
}
