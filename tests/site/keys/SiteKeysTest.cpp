#include "site/keys/SiteKeys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <sys/stat.h>

#include "site/keys/Issue.h"
#include "site/keys/Signatures.h"
#include "tests/site/DemoSite.h"

namespace fs = std::filesystem;
using namespace lumsite;
using testing::HasSubstr;

namespace {

InitOptions Named(const std::string &name) {
    InitOptions options;
    options.commonName = name;
    return options;
}

std::string RefusalOf(const fs::path &folder) {
    const base::Result<SiteKeys> keys = SiteKeys::Read(folder);
    return keys ? TextOf(keys->findings()) : keys.error().text;
}

void MakeNamedKeys(const fs::path &folder, const InitOptions &options) {
    ASSERT_EQ(ErrorOf(MakeKeys(folder, options)), "");
}

mode_t ModeOf(const fs::path &path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

} // namespace

TEST(Keys, AreTheOwnersAlone) {
    const TempDir place;
    umask(0);
    MakeNamedKeys(place / "new/keys", Named("a.kelvo.example"));
    EXPECT_EQ(ModeOf(place / "new/keys"), 0700u);
    for (const fs::directory_entry &entry : fs::directory_iterator(place / "new/keys")) {
        EXPECT_EQ(ModeOf(entry.path()), 0600u) << entry.path();
    }
}

TEST(Keys, NothingIsOverwrittenAndNoForeignNameIssued) {
    const TempDir place;
    fs::create_directory(place / "empty");
    MakeNamedKeys(place / "empty", Named("Demonstrations of Kelvo, Inc."));
    EXPECT_EQ(ModeOf(place / "empty"), 0700u);
    EXPECT_THAT(ErrorOf(MakeKeys(place / "empty", Named("a.kelvo.example"))), HasSubstr("nothing is overwritten"));
    EXPECT_THAT(ErrorOf(MakeKeys(place / "b", Named("kelvo.example.org"))), HasSubstr("ends with \".kelvo.example\""));
    place.Write("site/lummac.ini", "");
    EXPECT_THAT(ErrorOf(MakeKeys(place / "site/x/keys", Named("a.kelvo.example"))), HasSubstr("published folder"));
    EXPECT_THAT(ErrorOf(MakeKeys(place.Write("file", "") + "/keys", Named("a.kelvo.example"))),
                HasSubstr("file/keys: Not a directory"));
    EXPECT_FALSE(fs::exists(place / "b"));
    EXPECT_FALSE(fs::exists(place / "site/x"));
}

TEST(Keys, ChainLeadsFromTheSiteToTheRoot) {
    const TempDir place;
    InitOptions options = Named("a.kelvo.example");
    options.intermediates = 2;
    MakeNamedKeys(place / "keys", options);
    const SiteKeys keys = SiteKeys::Read(place / "keys").value();
    ASSERT_EQ(keys.chain().size(), 4u);
    const std::vector<Certificate> root = ReadPemCertificates(place / "keys/ca.pem").value();
    const std::time_t now = std::time(nullptr);
    EXPECT_EQ(ReasonAgainstChain(keys.chain(), root, false, false, now), "");
    EXPECT_NE(ReasonAgainstChain({keys.chain().back()}, root, false, false, now), "");
    EXPECT_THAT(OutputOf("openssl verify -CAfile " + (place / "keys/ca.pem") + " -untrusted " +
                         (place / "keys/chain.pem") + " " + (place / "keys/vendor.pem")),
                HasSubstr("OK"));
}

// The form of a signature: a type 1 block over the object identifier of sha1WithRSA and the hash text itself.
TEST(Keys, SignaturesAreWhatTheSignerOfTheSystemMakes) {
    const DemoSite demo;
    const SiteKeys keys = SiteKeys::Read(demo.place().path() / "keys").value();
    for (const std::size_t digits : {40, 64}) {
        const std::string hash(digits, 'f');
        const std::string signature = keys.Sign(hash).value();
        std::string der = {0x30, static_cast<char>(13 + digits), 0x30, 9, 6, 5, 0x2b, 0x0e, 3, 2, 0x1d, 5, 0,
                           4,    static_cast<char>(digits)};
        const std::string in = demo.place().Write("der", der + hash);
        const std::string key = keys.KeyPath();
        OutputOf("openssl rsautl -sign -inkey " + key + " -in " + in + " -out " + (demo.place() / "raw") +
                 " 2>/dev/null");
        EXPECT_EQ(signature, ToBase64(ReadFile(demo.place() / "raw")));
        EXPECT_TRUE(SiteCertificateKey(ToCertification(keys.chain())).Verifies(hash, signature));
        EXPECT_FALSE(SiteCertificateKey(ToCertification(keys.chain())).Verifies(std::string(digits, 'e'), signature));
    }
}

// Longer key files than the extension's own signing reads give the signatures that it would make.
TEST(Keys, LargerKeysSignLikeSmallOnes) {
    const TempDir place;
    const std::string hash(64, 'f');
    for (const int bits : {2048, 3072, 4096}) {
        InitOptions options = Named("a.kelvo.example");
        options.bits = bits;
        options.issuers = bits == 2048 ? "" : place / "2048"; // a key less to make
        const std::string folder = place / std::to_string(bits);
        MakeNamedKeys(folder, options);
        const SiteKeys keys = SiteKeys::Read(folder).value();
        const std::string signature = keys.Sign(hash).value();
        EXPECT_TRUE(SiteCertificateKey(ToCertification(keys.chain())).Verifies(hash, signature)) << bits;
    }
    const std::string key = ReadFile(place / "2048/vendor.key");
    const std::string padded = place.Write("padded", std::string(1000, '#') + "\n" + key);
    EXPECT_EQ(SignText(padded, hash), SignText(place / "2048/vendor.key", hash));
}

TEST(Keys, RenewalKeepsTheKey) {
    const TempDir place;
    InitOptions options = Named("a.kelvo.example");
    options.days = 3;
    MakeNamedKeys(place / "keys", options);
    EXPECT_THAT(RefusalOf(place / "keys"), HasSubstr("renew it"));
    const SiteKeys before = SiteKeys::Read(place / "keys").value();
    EXPECT_EQ(ErrorOf(RenewCertificate(place / "keys", "", 300)), "");
    const SiteKeys after = SiteKeys::Read(place / "keys").value();
    EXPECT_EQ(RefusalOf(place / "keys"), "");
    EXPECT_EQ(after.chain().back().CommonName(), "a.kelvo.example");
    EXPECT_NE(after.chain().back().Der(), before.chain().back().Der());
    EXPECT_TRUE(SiteCertificateKey(ToCertification(before.chain())).Verifies("abc", after.Sign("abc").value()));
}

TEST(Keys, PublishingRefusesKeysThatVisitorsWouldRefuse) {
    const TempDir place;
    MakeNamedKeys(place / "keys", Named("a.kelvo.example"));
    MakeNamedKeys(place / "other", Named("a.kelvo.example"));
    const fs::path keys = place / "keys";
    const ScopedKey key = ReadPemKey(keys / "vendor.key").value();
    const std::string own = ReadFile(keys / "vendor.pem");
    const std::time_t now = std::time(nullptr);
    const auto certificate = [&](const std::string &name, std::time_t from, std::time_t until) {
        return Issue(name, key.get(), {nullptr, key.get()}, {from, until}, false)->Pem();
    };
    const ScopedKey curve(EVP_EC_gen("P-256"));
    const ScopedKey large(EVP_RSA_gen(3072));
    const std::string curveCertificate =
        Issue("a.kelvo.example", curve.get(), {nullptr, curve.get()}, ForDays(9), false)->Pem();
    const std::string encrypted =
        OutputOf("openssl rsa -aes128 -passout pass:x -in " + (keys / "vendor.key").string() + " 2>/dev/null");

    struct Case {
        const char *file;
        std::string content;
        const char *says;
    };
    const Case cases[] = {
        {"vendor.pem", ReadFile(place / "other/vendor.pem"), "was not issued for"},
        {"vendor.pem", certificate("a.kelvo.example.org", now - 9, now + 9), "which the extension rejects"},
        {"vendor.pem", certificate("", now - 9, now + 9), "which the extension rejects"},
        {"vendor.pem", certificate("a.kelvo.example", now - 99, now - 9), "is valid only from"},
        {"vendor.pem", certificate("a.kelvo.example", now + 999, now + 9999), "is valid only from"},
        {"vendor.pem", "garbled", "does not contain a certificate"},
        {"vendor.key", "garbled", "does not contain a private key"},
        {"vendor.key", encrypted, "without a pass phrase"},
        {"vendor.key", KeyToPem(large.get()).value(), "was not issued for"},
        {"chain.pem", "", "chain.pem does not contain a certificate"},
    };
    for (const Case &each : cases) {
        const std::string before = ReadFile(keys / each.file);
        place.Write("keys/" + std::string(each.file), each.content);
        EXPECT_THAT(RefusalOf(keys), HasSubstr(each.says)) << each.content.substr(0, 60);
        place.Write("keys/" + std::string(each.file), before);
    }
    EXPECT_EQ(RefusalOf(keys), "");
    place.Write("keys/vendor.key", KeyToPem(curve.get()).value());
    place.Write("keys/vendor.pem", curveCertificate);
    EXPECT_THAT(RefusalOf(keys), HasSubstr("is not an RSA key"));
    fs::permissions(keys / "vendor.key", fs::perms::owner_all | fs::perms::group_read);
    EXPECT_THAT(RefusalOf(keys), HasSubstr("chmod 600"));
    fs::remove(keys / "vendor.key");
    EXPECT_THAT(RefusalOf(keys), HasSubstr("vendor.key: No such file"));
    fs::remove_all(keys);
    EXPECT_THAT(RefusalOf(keys), HasSubstr("make it with: lumsite init " + keys.string()));
}
