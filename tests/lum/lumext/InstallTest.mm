// Installation of a package: hash x signature x certificate, the host's unpack errors, libraries, outcomes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#import <Foundation/Foundation.h>

#include "lum/common/lumutil.h"
#include "lum/platform/linux/session/SystemVersion.h"
#include "tests/support/LumFixture.h"
#include "tests/support/TestSite.h"
#include "tests/support/TraceRecorder.h"

namespace {

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

    const struct {
        const char *what;
        std::string line;
        std::string certification;
        int result;
        const char *trace; // of error level; null: none
    } cases[] = {
        {"good sha256", open + hash + ";sha256;" + sign(hash), fixture.site.certification, 0, nullptr},
        {"good sha1", open + hash1 + ";sha1;" + sign(hash1), fixture.site.certification, 0, nullptr},
        {"certificate alone", open + hash + ";sha256;" + sign(hash), fixture.site.certificate, 0, nullptr},
        {"hash differs", open + wrong + ";sha256;" + sign(wrong), fixture.site.certification, -3,
         "hash value not same"},
        {"hash in capitals", open + upper + ";sha256;" + sign(upper), fixture.site.certification, -3,
         "hash value not same"},
        {"method in capitals", open + hash1 + ";SHA1;" + sign(hash1), fixture.site.certification, -3,
         "hash value of part.bundle is empty"},
        {"other method", open + hash + ";md5;" + sign(hash), fixture.site.certification, -3,
         "hash value of part.bundle is empty"},
        {"signature over something else", open + hash + ";sha256;" + sign(hash1), fixture.site.certification, -8,
         "[part.bundle]'s Signature verify failed!"},
        {"signature of another key", open + hash + ";sha256;" + TestSite::Sign(other, hash), fixture.site.certification,
         -8, "[part.bundle]'s Signature verify failed!"},
        {"signature bent in one bit", open + hash + ";sha256;" + bentSignature, fixture.site.certification, -8,
         "[part.bundle]'s Signature verify failed!"},
        {"signature cut", open + hash + ";sha256;" + sign(hash).substr(0, 80), fixture.site.certification, -8,
         "[part.bundle]'s Signature verify failed!"},
        {"signature no base64", open + hash + ";sha256;***", fixture.site.certification, -8,
         "[part.bundle]'s Signature verify failed!"},
        {"signature empty", open + hash + ";sha256;;", fixture.site.certification, 0, nullptr},
        {"certificate of 10 characters", open + hash + ";sha256;" + sign(hash), "0123456789", -8,
         "Certification Invalid!"},
        {"certificate of 11 characters", open + hash + ";sha256;" + sign(hash), "0123456789A", -8,
         "invalid certification file!"},
        {"certificate of bars", open + hash + ";sha256;" + sign(hash), "||||||||||||", -8,
         "invalid certification file!"},
        {"certificate no base64", open + hash + ";sha256;" + sign(hash), "!!!!!!!!!!!!!!!!", -8,
         "invalid certification file!"},
        {"certificate cut", open + hash + ";sha256;" + sign(hash), fixture.site.certificate.substr(0, 400), -8,
         "invalid certification file!"},
        {"another's certificate", open + hash + ";sha256;" + sign(hash), other.certificate, -8,
         "[part.bundle]'s Signature verify failed!"},
    };
    for (const auto &test : cases) {
        fixture.Forget();
        fixture.host.parameters["lumcertification"] = test.certification;
        CItem &item = fixture.Add(test.line);
        TraceRecorder traces;
        EXPECT_EQ(fixture.Install(item), test.result) << test.what;
        EXPECT_EQ(item.m_dwState, test.result == 0 ? 2u : 1u) << test.what;
        EXPECT_EQ(fixture.host.installs.size(), test.result == 0 ? 1u : 0u) << test.what;
        EXPECT_EQ(traces.Texts(3).empty(), test.trace == nullptr) << test.what << traces.Texts(3).front();
        if (test.trace) {
            EXPECT_TRUE(traces.HasPart(test.trace, 3)) << test.what << ": " << traces.Texts(3).front();
        }
    }
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
    const std::pair<int, int> results[] = {{1, -10}, {2, -11},     {3, -12},     {4, -13},     {5, -14},
                                           {6, -15}, {7, -3},      {11, -3},     {12, -16},    {13, -3},
                                           {-1, -3}, {20009, -30}, {20007, -31}, {20100, -32}, {20005, -3}};
    for (const auto &[error, result] : results) {
        const int code = error; // a lambda cannot take a structured binding by name here
        fixture.Forget();
        fixture.host.install = [code](const std::string &, const std::string &destination) {
            std::filesystem::create_directories(destination + "/half");
            return code;
        };
        CItem &item = fixture.AddSigned({.name = "a.bundle"});
        bool restart = true;
        EXPECT_EQ(fixture.Install(item, &restart), result) << error;
        EXPECT_FALSE(restart);
        EXPECT_EQ(item.m_dwState, 0u);
        EXPECT_FALSE(std::filesystem::exists(fixture.dir / "install/deep/a.bundle"));

        for (const char *word : {"ignore", "IGNORE"}) {
            CItem &ignored = fixture.AddSigned({.name = "b.bundle", .failure = word});
            EXPECT_EQ(fixture.Install(ignored), 0);
            EXPECT_EQ(ignored.m_dwState, 3u);
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

TEST(Install, ResultsBecomeMessages) {
    SignedFixture fixture;
    const std::pair<int, const char *> messages[] = {{1, "7002"},     {2, "7003"},     {3, "7004"},  {4, "7005"},
                                                     {5, "7006"},     {6, "7007"},     {12, "7008"}, {20009, "7009"},
                                                     {20007, "7010"}, {20100, "7011"}, {99, "7"}};
    for (const auto &[error, message] : messages) {
        const int code = error;
        for (const bool ready : {false, true}) {
            fixture.Forget();
            fixture.host.messages.clear();
            fixture.extension.m_bStopped = 0;
            fixture.extension.m_bMainComponentReady = ready;
            fixture.host.install = [code](const std::string &, const std::string &) { return code; };
            CItem &item = fixture.AddSigned({.name = "a.bundle"});
            fixture.extension.HandleGetFileCallback(&item, LUMGetFileNotifyDone, fixture.package.data());
            ASSERT_EQ(fixture.host.messages.size(), 1u);
            EXPECT_NE(fixture.host.messages[0].find(std::string("[") + message + "], File [a.bundle]"),
                      std::string::npos)
                << fixture.host.messages[0];
            EXPECT_EQ(fixture.extension.m_bStopped, !ready); // once the main component is ready, the start goes on
        }
    }
    fixture.extension.m_bStopped = 0;
    fixture.host.messages.clear();
    CItem &unsignedItem = fixture.Add("a" + kItemTail);
    fixture.extension.HandleGetFileCallback(&unsignedItem, LUMGetFileNotifyDone, fixture.package.data());
    EXPECT_NE(fixture.host.messages.at(0).find("Error [23]"), std::string::npos);
}

TEST(Certification, VerdictsMarkEveryItem) {
    TempDir dir;
    const struct {
        const char *commonName;
        int verdict;
    } names[] = {{"www.kelvo.example", 1},    {"Kelvo, Inc.", 1},           {"Meetings by Kelvo, Inc.", 1},
                 {"kelvo.example", 0},        {"www.kelvo.example.org", 0}, {"www.KELVO.example", 0},
                 {"www.kelvo.example ltd", 0}};
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
