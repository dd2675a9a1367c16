#include "tests/support/TestSite.h"

#include <gtest/gtest.h>

#include <cstdlib>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#include "lum/security/CertificateServices.h"

namespace {

std::string Base64(NSData *data) {
    return [[data base64EncodedStringWithOptions:0] UTF8String];
}

std::string Base64OfFile(const std::string &path) {
    return Base64([NSData dataWithContentsOfFile:[NSString stringWithUTF8String:path.c_str()]]);
}

} // namespace

SiteIdentity TestSite::MakeIdentity(const TempDir &place, const std::string &commonName, const std::string &label) {
    const std::string base = place / label;
    const std::string authority = base + "-ca";
    OutputOf("openssl req -x509 -newkey rsa:2048 -nodes -sha256 -days 30 -subj '/CN=Test Authority " + label +
             "' -keyout " + authority + ".key -out " + authority + ".pem");
    OutputOf("openssl req -newkey rsa:2048 -nodes -subj '/CN=" + commonName + "' -keyout " + base + ".key -out " +
             base + ".csr && openssl x509 -req -sha256 -days 20 -in " + base + ".csr -CA " + authority +
             ".pem -CAkey " + authority + ".key -CAcreateserial -outform DER -out " + base +
             ".der && openssl x509 -in " + authority + ".pem -outform DER -out " + authority + ".der");
#ifdef LUM_STRICT_TRUST // what the page supplies is no anchor then: the person of the test trusts the authority
    const std::string trusted = std::string(getenv("HOME")) + "/.config/lum/certificates/trusted";
    OutputOf("mkdir -p -m 700 '" + trusted + "' && cp '" + authority + ".pem' '" + trusted + "/" + label + ".pem'");
#endif
    SiteIdentity identity;
    identity.keyFile = base + ".key";
    identity.certificate = Base64OfFile(base + ".der");
    identity.certification = Base64OfFile(authority + ".der") + "|" + identity.certificate;
    return identity;
}

std::string TestSite::Sign(const SiteIdentity &identity, std::string_view text) {
    NSData *signature = SignDataWithSSL(identity.keyFile.c_str(), [NSData dataWithBytes:text.data()
                                                                                 length:text.size()]);
    EXPECT_TRUE(signature);
    return Base64(signature);
}

std::string TestSite::ItemLine(const SiteIdentity &identity, const Item &item, const std::string &packageFile) {
    const std::string hash = Sha256OfFile(packageFile);
    const std::string size = std::to_string(std::filesystem::file_size(packageFile));
    const std::string &url = item.url.empty() ? item.name : item.url;
    return item.name + ";" + url + ";" + item.target + ";" + item.version + ";" + size + ";" + size + ";;" +
           item.update + ";" + item.failure + ";0;" + hash + ";sha256;" + Sign(identity, hash);
}
