// Installation of a package: hash x signature x certificate, the host's unpack errors, libraries, outcomes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#include "lum/platform/linux/session/SystemVersion.h"
#include "tests/support/Gmock.h"
#include "tests/support/LumFixture.h"
#include "tests/support/TestSite.h"
#include "tests/support/TraceRecorder.h"

namespace {

using testing::HasSubstr;

struct Fixture : LumFixture {
    std::string package = dir.Write("downloaded", "the package's bytes");

    Fixture() {
        host.parameters["LumSuppressProgressBar"] = "true";
        manager.m_strDefInstallDir = dir / "install/deep";
    }
    int Install(CItem &item, bool *restart = nullptr) {
        bool flag = true;
        const int result = manager.DoItemInstallation(&item, package.c_str(), flag, false);
        if (restart) {
            *restart = flag;
        }
        return result;
    }
};

// An identity is a matter of a second to make, so one serves all cases of a test.
struct SignedFixture : Fixture {
    SiteIdentity site = TestSite::MakeIdentity(dir, "www.kelvo.example");

    std::string Line(const TestSite::Item &item) {
        return TestSite::ItemLine(site, item, package);
    }
    CItem &AddSigned(const TestSite::Item &item) {
        host.parameters["lumcertification"] = site.certification;
        return Add(Line(item));
    }
    void Forget() {
        manager.Cleanup();
        host.installs.clear();
    }
};

} // namespace

TEST(Install, NoItemOrNoFile) {
    Fixture fixture;
    bool restart = true;
    EXPECT_EQ(fixture.manager.DoItemInstallation(nullptr, "x", restart, false), -5);
    EXPECT_FALSE(restart);
    CItem &item = fixture.Add("a" + kItemTail);
    EXPECT_EQ(fixture.manager.DoItemInstallation(&item, nullptr, restart, false), -5);
    EXPECT_EQ(item.m_dwState, 0u);
}

TEST(Install, MissingMaterialIsRefused) {
    const std::string open = "a;u;;1;1;1;;;;0";
    const struct {
        std::string line;
        const char *certification;
        const char *siteLock; // null: absent
        const char *trace;
    } cases[] = {
        {open, "C", nullptr, "LumInstallationMgr::DoItemInstallation,Check domain is pass, but Hash value is nil!"},
        {open + ";h", "C", "1", "LumInstallationMgr::DoItemInstallation,Check domain is pass, but Algorithms is nil!"},
        {open + ";h;sha1", "C", "2",
         "LumInstallationMgr::DoItemInstallation,Check domain is pass, but Certification is nil!"},
        {open + ";h;sha1;s", "", nullptr,
         "LumInstallationMgr::DoItemInstallation,Check domain is pass, but Certification is nil!"},
        {open, "C", "0",
         "lumsitelock is 0 means it run not check domain mode. we will check hashvalue of current package but hash or "
         "certification is invalid!"},
    };
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.parameters["lumcertification"] = test.certification;
        if (test.siteLock) {
            fixture.host.parameters["lumsitelock"] = test.siteLock;
        }
        CItem &item = fixture.Add(test.line);
        TraceRecorder traces;
        EXPECT_EQ(fixture.Install(item), -8);
        EXPECT_EQ(traces.Texts(3), std::vector<std::string>{test.trace});
        EXPECT_EQ(item.m_dwState, 1u);
        EXPECT_TRUE(fixture.host.installs.empty());
    }
}

TEST(Install, HashSignatureAndCertificateCrossed) {
    SignedFixture fixture;
    const std::string name = "part.bundle";
    const SiteIdentity other = TestSite::MakeIdentity(fixture.dir, "www.kelvo.example", "other");
    const std::string hash = Sha256OfFile(fixture.package);
    const std::string hash1 = Sha1OfFile(fixture.package);
    const std::string open = name + ";u;;1,0,0,0;1;1;;;;0;";
    const auto sign = [&](const std::string &text) { return TestSite::Sign(fixture.site, text); };
    std::string upper = hash;
    for (char &c : upper) {
        c = static_cast<char>(toupper(c));
    }
    std::string wrong = hash;
    wrong[0] = wrong[0] == '0' ? '1' : '0';
    std::string bentSignature = sign(hash);
    bentSignature[10] = bentSignature[10] == 'A' ? 'B' : 'A';

    const std::string good = hash + ";sha256;" + sign(hash);
    const char *const kBadSignature = "[part.bundle]'s Signature verify failed!";
    const char *const kBadCertificate = "invalid certification file!";

    // `trace` of error level; null: none
    const auto expect = [&](const std::string &material, const std::string &certification, int result,
                            const char *trace) {
        fixture.Forget();
        fixture.host.parameters["lumcertification"] = certification;
        CItem &item = fixture.Add(open + material);
        TraceRecorder traces;
        EXPECT_EQ(fixture.Install(item), result) << material;
        EXPECT_EQ(item.m_dwState, result == 0 ? 2u : 1u) << material;
        EXPECT_EQ(fixture.host.installs.size(), result == 0 ? 1u : 0u) << material;
        EXPECT_EQ(traces.Texts(3).empty(), trace == nullptr) << material;
        EXPECT_TRUE(!trace || traces.HasPart(trace, 3)) << material << " " << certification;
    };
    const std::string &chain = fixture.site.certification;
    expect(good, chain, 0, nullptr);
    expect(hash1 + ";sha1;" + sign(hash1), chain, 0, nullptr);
    expect(good, fixture.site.certificate, 0, nullptr); // alone
    expect(hash + ";sha256;;", chain, 0, nullptr);      // no signature, and no key yet
    expect(wrong + ";sha256;" + sign(wrong), chain, -3, "hash value not same");
    expect(upper + ";sha256;" + sign(upper), chain, -3, "hash value not same");
    expect(hash1 + ";SHA1;" + sign(hash1), chain, -3, "hash value of part.bundle is empty");
    expect(hash + ";md5;" + sign(hash), chain, -3, "hash value of part.bundle is empty");
    expect(hash + ";sha256;" + sign(hash1), chain, -8, kBadSignature); // over something else
    expect(hash + ";sha256;" + TestSite::Sign(other, hash), chain, -8, kBadSignature);
    expect(hash + ";sha256;" + bentSignature, chain, -8, kBadSignature);
    expect(hash + ";sha256;" + sign(hash).substr(0, 80), chain, -8, kBadSignature);
    expect(hash + ";sha256;***", chain, -8, kBadSignature);
    expect(good, other.certificate, -8, kBadSignature);
    expect(good, "0123456789", -8, "Certification Invalid!");
    expect(good, "0123456789A", -8, kBadCertificate);
    expect(good, "||||||||||||", -8, kBadCertificate);
    expect(good, "!!!!!!!!!!!!!!!!", -8, kBadCertificate);
    expect(good, fixture.site.certificate.substr(0, 400), -8, kBadCertificate);
}

TEST(Install, OldSystemsSkipTheSha256ComparisonButNotTheSignature) {
    SignedFixture fixture;
    const std::string other(64, 'a');
    const std::string open = "part.bundle;u;;1,0,0,0;1;1;;;;0;" + other + ";sha256;";
    fixture.host.parameters["lumcertification"] = fixture.site.certification;
    {
        const ScopedSystemVersion old(0x1058);
        TraceRecorder traces;
        EXPECT_EQ(fixture.Install(fixture.Add(open + TestSite::Sign(fixture.site, other))), 0);
        EXPECT_TRUE(traces.Has("10.5 system not support sha256. we just ignore this hash value compare", 2));
        EXPECT_EQ(fixture.Install(fixture.Add(open + TestSite::Sign(fixture.site, "x"))), -8);
    }
    const ScopedSystemVersion first(0x1060);
    EXPECT_EQ(fixture.Install(fixture.Add(open + TestSite::Sign(fixture.site, other))), -3);
}

TEST(Install, OnlyTheItemThatMakesTheKeyIsAskedForItsVerdict) {
    SignedFixture fixture;
    CItem &rejected = fixture.AddSigned({.name = "a"});
    rejected.m_nCertVerified = 0;
    TraceRecorder traces;
    EXPECT_EQ(fixture.Install(rejected), -8);
    EXPECT_TRUE(traces.Has("Certification verify failed!", 3));
    EXPECT_EQ(fixture.Install(fixture.AddSigned({.name = "b.bundle"})), 0); // not evaluated passes, and makes the key
    EXPECT_TRUE(fixture.manager.m_pRSAObject);
    EXPECT_EQ(fixture.Install(rejected), 0);
}

TEST(Install, UnpackErrorsAndFailureControl) {
    SignedFixture fixture;
    const struct {
        int error, result;
        const char *message;
    } cases[] = {{1, -10, "7002"}, {2, -11, "7003"}, {3, -12, "7004"},     {4, -13, "7005"},     {5, -14, "7006"},
                 {6, -15, "7007"}, {7, -3, "7"},     {11, -3, "7"},        {12, -16, "7008"},    {13, -3, "7"},
                 {-1, -3, "7"},    {20005, -3, "7"}, {20007, -31, "7010"}, {20009, -30, "7009"}, {20100, -32, "7011"}};
    for (const auto &test : cases) {
        const int code = test.error;
        fixture.Forget();
        fixture.host.install = [code](const std::string &, const std::string &destination) {
            std::filesystem::create_directories(destination + "/half");
            return code;
        };
        CItem &item = fixture.AddSigned({.name = "a.bundle"});
        bool restart = true;
        EXPECT_EQ(fixture.Install(item, &restart), test.result) << code;
        EXPECT_FALSE(restart);
        EXPECT_EQ(item.m_dwState, 0u);
        EXPECT_FALSE(std::filesystem::exists(fixture.dir / "install/deep/a.bundle"));
        fixture.extension.m_bStopped = 0;
        fixture.host.messages.clear();
        fixture.extension.HandleGetFileCallback(&item, LUMGetFileNotifyDone, fixture.package.data());
        ASSERT_EQ(fixture.host.messages.size(), 1u);
        EXPECT_THAT(fixture.host.messages[0], HasSubstr(std::string("[") + test.message + "], File [a.bundle]"));

        for (const char *word : {"ignore", "IGNORE"}) {
            CItem &ignored = fixture.AddSigned({.name = "b.dylib", .failure = word});
            EXPECT_EQ(fixture.Install(ignored), 0);
            EXPECT_EQ(ignored.m_dwState, 3u);
            EXPECT_TRUE(std::filesystem::is_empty(fixture.dir / "install/deep")) << "a library's half, renamed";
        }
        CItem &reboot = fixture.AddSigned({.name = "c.bundle", .failure = "Reboot"});
        EXPECT_EQ(fixture.Install(reboot, &restart), -4);
        EXPECT_TRUE(restart);
        EXPECT_EQ(reboot.m_dwState, 0u);
    }
    fixture.host.install = [](const std::string &, const std::string &) { return 0; };
    bool restart = false;
    EXPECT_EQ(fixture.Install(fixture.AddSigned({.name = "d.bundle", .failure = "reboot"}), &restart), 0);
    EXPECT_TRUE(restart); // after success too
}

TEST(Install, LibraryGetsAVersionedNameAndALink) {
    SignedFixture fixture;
    const std::string folder = fixture.dir / "install/deep/";
    for (const char *old : {"libfoo-1.0.dylib", "libfoo.dylib", "libfoo-1.bundle", "libbar-1.0.dylib"}) {
        fixture.dir.Write(std::string("install/deep/") + old, "old");
    }
    CItem &item = fixture.AddSigned({.name = "libfoo.dylib", .version = "2,1,3,4"});
    ASSERT_EQ(fixture.Install(item), 0);
    EXPECT_EQ(fixture.host.installs.at(0).destination, folder + "libfoo.dylib");
    EXPECT_EQ(std::filesystem::read_symlink(folder + "libfoo.dylib"), folder + "libfoo-2.1.3.4.dylib");
    EXPECT_EQ(ReadFile(folder + "libfoo.dylib"), "the package's bytes");
    EXPECT_FALSE(std::filesystem::exists(folder + "libfoo-1.0.dylib"));
    EXPECT_TRUE(std::filesystem::exists(folder + "libfoo-1.bundle"));
    EXPECT_TRUE(std::filesystem::exists(folder + "libbar-1.0.dylib"));

    fixture.manager.PrepareInstallation(true); // what has just been installed is current
    EXPECT_EQ(fixture.manager.mNeedUpdate, 0u);
    EXPECT_EQ(item.m_dwState, 2u);
}

TEST(Install, NameWithoutADotIsTreatedAsALibrary) {
    SignedFixture fixture;
    const std::string folder = fixture.dir / "install/deep/";
    fixture.dir.Write("install/deep/tool-1.dylib", "old");
    EXPECT_EQ(fixture.Install(fixture.AddSigned({.name = "tool", .version = "1,0,0,0"})), 0);
    EXPECT_FALSE(std::filesystem::exists(folder + "tool-1.dylib"));
    EXPECT_EQ(std::filesystem::read_symlink(folder + "tool.dylib"), folder + "tool-1.0.0.0.dylib");
}

TEST(Install, NamesThatAreNoneTouchNothing) {
    SignedFixture fixture;
    fixture.dir.Write("precious", "x");
    fixture.dir.Write("install/deep/kept", "x");
    for (const char *name : {"", ".", "..", "../../precious", "a/", "/a", "a//b", "a/../../kept", "./kept"}) {
        CItem item(&fixture.extension);
        item = fixture.AddSigned({.name = "part.bundle"});
        item.m_strName = name;
        EXPECT_EQ(fixture.Install(item), -5) << name;
        EXPECT_EQ(item.m_dwState, 0u);
    }
    EXPECT_TRUE(fixture.host.installs.empty());
    EXPECT_TRUE(std::filesystem::exists(fixture.dir / "precious"));
    EXPECT_TRUE(std::filesystem::exists(fixture.dir / "install/deep/kept"));
    EXPECT_EQ(fixture.Install(fixture.AddSigned({.name = "..b.bundle"})), 0);
}

TEST(Install, RemovesTheOldComponentAndOnlyThat) {
    SignedFixture fixture;
    fixture.dir.Write("install/deep/part.bundle/old", "x");
    fixture.dir.Write("install/deep/.part.bundle.old", "somebody else's");
    fixture.dir.Write("install/deep/.lumext-removed-7.tmp/half", "of a killed start");
    TraceRecorder traces;
    ASSERT_EQ(fixture.Install(fixture.AddSigned({.name = "part.bundle"})), 0);
    EXPECT_TRUE(traces.Has("RemoveFile: remove file[" + (fixture.dir / "install/deep/part.bundle") + "] success!", 1));
    EXPECT_TRUE(std::filesystem::exists(fixture.dir / "install/deep/.part.bundle.old"));
    EXPECT_FALSE(std::filesystem::exists(fixture.dir / "install/deep/.lumext-removed-7.tmp"));
    EXPECT_EQ(ReadFile(fixture.dir / "install/deep/part.bundle"), "the package's bytes");
}

TEST(Install, WithoutAHostTable) {
    Fixture fixture;
    CItem &item = fixture.Add("a" + kItemTail); // no material, but nobody to check it for
    fixture.extension.m_pLUMInterface = nullptr;
    TraceRecorder traces;
    EXPECT_EQ(fixture.Install(item), -7);
    EXPECT_TRUE(traces.Has("LumInstallationMgr::DoItemInstallation,luminterface is nil!", 2));
}

TEST(Install, TheDownloadEventIsLoggedOnceWhereTheWindowWouldOpen) {
    SignedFixture fixture;
    fixture.host.EnableLog();
    fixture.host.parameters.erase("LumSuppressProgressBar");
    fixture.manager.m_isJsonDownload = 1; // the placeholder window is in use: no window of its own
    fixture.manager.mNeedUpdate = 2;
    fixture.Install(fixture.AddSigned({.name = "a.bundle"}));
    fixture.Install(fixture.AddSigned({.name = "b.bundle"}));
    EXPECT_EQ(fixture.host.LogCodes(), std::vector<std::string>{"1003"});
    EXPECT_EQ(fixture.manager.mCurrentUpdate, 0u);
}

TEST(Install, AFailureStopsTheStartUntilTheMainComponentIsReady) {
    for (const bool ready : {false, true}) {
        Fixture fixture;
        fixture.extension.m_bMainComponentReady = ready;
        fixture.extension.HandleGetFileCallback(&fixture.Add("a" + kItemTail), LUMGetFileNotifyDone,
                                                fixture.package.data());
        EXPECT_THAT(fixture.host.messages.at(0), HasSubstr("Error [23]")); // not signed
        EXPECT_EQ(fixture.extension.m_bStopped, !ready);
    }
}

TEST(Certification, VerdictsMarkEveryItem) {
    TempDir dir;
    const struct {
        const char *commonName;
        int verdict;
    } names[] = {{"www.kelvo.example", 1},       {"Kelvo, Inc.", 1},
                 {"Meetings by Kelvo, Inc.", 1}, {"kelvo.example", 0},
                 {"www.kelvo.example.org", 0},   {"www.KELVO.example", 0},
                 {"www.kelvo.example ltd", 0},   {"www.kelvo.example\u0301", 0}}; // the last letter has an accent
    int label = 0;
    for (const auto &[commonName, verdict] : names) {
        Fixture fixture;
        const SiteIdentity site = TestSite::MakeIdentity(dir, commonName, "s" + std::to_string(label++));
        fixture.host.parameters["lumcertification"] = site.certification;
        CItem &first = fixture.Add("a" + kItemTail);
        CItem &second = fixture.Add("b" + kItemTail);
        TraceRecorder traces;
        fixture.manager.VerifyCertification();
        EXPECT_EQ(first.m_nCertVerified, -1); // nothing to update: nothing is judged
        fixture.manager.mNeedUpdate = 1;
        fixture.manager.VerifyCertification();
        EXPECT_EQ(first.m_nCertVerified, verdict) << commonName << traces.Texts(3).size();
        EXPECT_EQ(second.m_nCertVerified, verdict) << commonName;
        EXPECT_TRUE(traces.Has(std::string("Certification's common name = ") + commonName, 1)) << commonName;
        EXPECT_EQ(
            traces.Has("invalid certification file or cannot believe, common name is not end by .kelvo.example", 3),
            verdict == 0);
        traces.Clear();
        fixture.manager.VerifyCertification();
        EXPECT_TRUE(traces.traces().empty()); // judged once
    }
}

// With nobody to ask, a certificate under an unknown authority is not believed.
TEST(Certification, RejectionsSayWhyAndMarkEveryItem) {
    unsetenv("DISPLAY");
    TempDir dir;
    const struct {
        std::string certification;
        const char *trace;
    } cases[] = {{TestSite::MakeIdentity(dir, "www.kelvo.example", "alone").certificate,
                  "invalid certification file or cannot believe!"},
                 {TestSite::MakeIdentity(dir, "", "nameless").certification,
                  "invalid certification file or cannot believe, No common name!"}};
#ifdef LUM_STRICT_TRUST // nothing that the test's person trusts may vouch for the first
    std::filesystem::remove(std::string(getenv("HOME")) + "/.config/lum/certificates/trusted/alone.pem");
#endif
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.parameters["lumcertification"] = test.certification;
        CItem &judged = fixture.Add("a" + kItemTail);
        judged.m_nCertVerified = 1;
        fixture.manager.m_aItems.push_back(nullptr);
        CItem &unjudged = fixture.Add("b" + kItemTail);
        fixture.manager.mNeedUpdate = 1;
        TraceRecorder traces;
        fixture.manager.VerifyCertification();
        EXPECT_EQ(traces.Texts(3), std::vector<std::string>{test.trace});
        EXPECT_EQ(judged.m_nCertVerified, 0) << test.trace;
        EXPECT_EQ(unjudged.m_nCertVerified, 0) << test.trace;
    }
}

TEST(Certification, ShortAndBrokenTexts) {
    const struct {
        std::string text;
        int systemVersion;
        int verdict;
    } cases[] = {{"", 0x1090, -1},           {"0123456789", 0x1090, 0},   {"0123456789A", 0x1090, -1},
                 {"0123456789", 0x1058, -1}, {"|||||||||||", 0x1090, -1}, {std::string(40, '!'), 0x1090, -1}};
    for (const auto &test : cases) {
        Fixture fixture;
        fixture.host.parameters["lumcertification"] = test.text;
        CItem &item = fixture.Add("a" + kItemTail);
        fixture.manager.mNeedUpdate = 1;
        const ScopedSystemVersion system(test.systemVersion);
        fixture.manager.VerifyCertification();
        EXPECT_EQ(item.m_nCertVerified, test.verdict) << test.text;
    }
}
