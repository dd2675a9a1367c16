// What signs for a release: files of each kind, commands, a token.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "site/release/ReleaseKeys.h"
#include "site/release/RootCeremony.h"
#include "tests/site/DemoSite.h"

namespace fs = std::filesystem;
using namespace lumsite;
using delivery::MetadataType;
using testing::HasSubstr;

TEST(Signer, KeysOfEachKind) {
    const TempDir place;
    for (const SigningKeyType type : {SigningKeyType::Ed25519, SigningKeyType::Ecdsa, SigningKeyType::Rsa}) {
        ReleaseKeys keys(place.path());
        const NamedKey key = keys.Make(MetadataType::Targets, type).value();
        ASSERT_EQ(ErrorOf(keys.Save()), "");
        const std::string signature = keys.Sign(key, "bytes").value();
        const ReleaseKeys read = ReleaseKeys::Read(place.path()).value();
        ASSERT_TRUE(read.Find(key.key.id())) << key.name;
        EXPECT_TRUE(read.Find(key.key.id())->key.Verify("bytes", signature)) << key.name;
    }
}

TEST(Signer, Commands) {
    const TempDir place;
    ReleaseKeys keys(place.path());
    const std::string file = keys.Make(MetadataType::Targets, SigningKeyType::Ed25519)->file;
    const Json::Value described = keys.keys().front().described;
    struct Case {
        std::vector<std::string> command;
        const char *says;
    };
    const Case cases[] = {
        {{"openssl", "pkeyutl", "-sign", "-rawin", "-inkey", "targets-1.key", "-in", "/dev/stdin"}, ""},
        {{"/bin/sh", "-c", "openssl pkeyutl -sign -rawin -inkey targets-1.key -in /dev/stdin"}, ""},
        {{"echo", "x"}, "echo answers what is no signature of the key in release.json"},
        {{"false"}, "false ended with status 1"},
        {{"/bin/sh", "-c", "kill -9 $$"}, "was ended by signal 9"},
        {{"yes"}, "yes writes more than 4096 bytes"},
        {{"/nowhere/signer"}, "cannot start /nowhere/signer: No such file"},
    };
    for (const Case &each : cases) {
        const NamedKey key = keys.Add(MetadataType::Targets, described, each.command);
        EXPECT_THAT(ErrorOf(keys.Sign(key, std::string(200'000, 'x'))), HasSubstr(each.says)) << each.command.back();
    }
}

// From a token's key to a release that visitors accept, as docs/publishing.md says.
TEST(Signer, AKeyOnAToken) {
    const TempDir place;
    DemoSite demo;
    const std::string in = "cd " + place.path().string() + " && export SOFTHSM2_CONF=" +
                           place.Write("softhsm2.conf", "directories.tokendir = " + place / "tokens") +
                           " TOKEN_PIN=1234 && ";
    fs::create_directory(place / "tokens");
    const std::string tool = "pkcs11-tool --module " TEST_SOFTHSM " --login --pin env:TOKEN_PIN ";
    OutputOf(in + "softhsm2-util --init-token --free --label site --so-pin 1234 --pin 1234");
    OutputOf(in + tool + "--keypairgen --key-type EC:prime256v1 --id 01 --label targets");
    OutputOf(in + tool + "--read-object --type pubkey --id 01 | openssl pkey -pubin -inform DER > token.pem");
    OutputOf(in + TEST_LUMSITE + " init keys --release");
    OutputOf(in + TEST_LUMSITE + " rotate keys targets --public token.pem --command 'openssl dgst -sha256 -binary | " +
             tool + "--sign --mechanism ECDSA --signature-format openssl --id 01'");
    fs::remove(place / "keys/targets-1.key");
    demo.manifest().release = ManifestRelease{"", place.path() / "keys", {}};
    setenv("SOFTHSM2_CONF", (place / "softhsm2.conf").c_str(), 1);
    setenv("TOKEN_PIN", "1234", 1);
    demo.Publish();
    EXPECT_THAT(ReadFile(place / "keys/release.json"), HasSubstr("\"targets-2\""));
    setenv("TOKEN_PIN", "4321", 1);
    demo.manifest().components[2].failure = "ignore";
    EXPECT_THAT(ErrorOf(demo.TryPublish()), HasSubstr("targets.json cannot be signed: targets-2: "));
}
