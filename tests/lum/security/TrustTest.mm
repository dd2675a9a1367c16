// Certificates in every state, judged under both rules: what the platform says of each, whether the user is asked, and
// what comes out.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>

#import <Foundation/Foundation.h>

#import "lum/platform/linux/trust/TrustStore.h"
#import "lum/security/CertificateServices.h"
#import "lum/security/TrustRule.h"
#import "tests/lum/security/SecCertificates.h"
#import "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

int g_questions = 0;
bool g_answer = false;

bool Ask(SecTrustRef trust) {
    EXPECT_NE(trust, nullptr);
    ++g_questions;
    return g_answer;
}

CertificatePlan Authority(std::string name) {
    return {.commonName = std::move(name), .isAuthority = true};
}

CertificatePlan Site() {
    return {.commonName = "site.kelvo.example"};
}

CertificatePlan Expired(CertificatePlan plan) {
    plan.fromDay = -20;
    plan.toDay = -10;
    return plan;
}

CertificatePlan NotValidYet(CertificatePlan plan) {
    plan.fromDay = 10;
    return plan;
}

fs::path UserFolder(const char *name) {
    const fs::path folder = fs::path(getenv("HOME")) / ".config/lum/certificates" / name;
    fs::create_directories(folder);
    return folder;
}

void Save(const fs::path &path, const std::string &content) {
    std::ofstream(path, std::ios::binary) << content;
}

void UserTrusts(const TestCertificate &certificate) {
    Save(UserFolder("trusted") / "one.pem", certificate.Pem());
}

void UserRefuses(const TestCertificate &certificate) {
    Save(UserFolder("refused") / "one.cer", certificate.der());
}

NSArray *Objects(const std::vector<TestCertificate> &certificates) {
    NSMutableArray *objects = [NSMutableArray array];
    for (const TestCertificate &certificate : certificates) {
        SecCertificateRef object = NewRef(certificate);
        [objects addObject:(id)object];
        CFRelease(object);
    }
    return objects;
}

struct Expectation {
    SecTrustResultType result; // of the plain evaluation
    unsigned leafBits;
    enum { Accepted, Asked } usual;
    enum { Passed, Refused } strict;
};

constexpr auto Accepted = Expectation::Accepted;
constexpr auto Asked = Expectation::Asked;
constexpr auto Passed = Expectation::Passed;
constexpr auto Refused = Expectation::Refused;

class Trust : public testing::Test {
protected:
    void SetUp() override {
        unsetenv("XDG_CONFIG_HOME");
    } // the home is the test's own
    const TestCertificate m_root{Authority("Root")};
    const TestCertificate m_middle{Authority("Middle"), m_root};
    const TestCertificate m_site{Site(), m_middle};
    const TestCertificate m_underRoot{Site(), m_root};
    const TestCertificate m_strangeRoot{Authority("Stranger")};
    const TestCertificate m_underStranger{Site(), m_strangeRoot};
    const TestCertificate m_selfSigned{Site()};

    // The system trusts m_root alone. `page`: the certificates that come with the site's; none stands for no list.
    void Judge(const TestCertificate &site, std::optional<std::vector<TestCertificate>> page,
               const Expectation &expected) {
        Judge(site, page, expected, {m_root});
    }

    void Judge(const TestCertificate &site, std::optional<std::vector<TestCertificate>> page,
               const Expectation &expected, const std::vector<TestCertificate> &roots) {
        const sec::SystemRootsForTest system(Parsed(roots));
        SecCertificateRef leaf = NewRef(site);
        CFArrayRef list = page ? (CFArrayRef)Objects(*page) : nullptr;
        ExpectEvaluation(leaf, list, expected);
        ExpectRule(TrustRule::Usual, leaf, list, expected.usual == Asked, {false, expected.usual == Accepted});
        ExpectRule(TrustRule::Usual, leaf, list, expected.usual == Asked, {true, true});
        ExpectRule(TrustRule::Strict, leaf, list, false, {true, expected.strict == Passed});
        CFRelease(leaf);
    }

private:
    struct Outcome {
        bool answer;
        bool trusted;
    };

    static void ExpectEvaluation(SecCertificateRef leaf, CFArrayRef list, const Expectation &expected) {
        SecTrustRef trust = nullptr;
        SecTrustResultType result = 0;
        SecPolicyRef policy = policyForOID(&CSSMOID_APPLE_X509_BASIC);
        ASSERT_EQ(EvaluateCert(leaf, list, policy, &result, &trust), noErr);
        CFRelease(policy);
        CFArrayRef chain = nullptr;
        CSSM_TP_APPLE_EVIDENCE_INFO *evidence = nullptr;
        ASSERT_EQ(SecTrustGetResult(trust, nullptr, &chain, &evidence), noErr);
        EXPECT_EQ(result, expected.result);
        EXPECT_EQ(evidence[0].StatusBits, expected.leafBits);
        EXPECT_TRUE([[(NSArray *)chain objectAtIndex:0] isEqual:(id)leaf]);
        CFRelease(chain);
        CFRelease(trust);
    }

    static void ExpectRule(TrustRule rule, SecCertificateRef leaf, CFArrayRef list, bool asked, Outcome outcome) {
        g_questions = 0;
        g_answer = outcome.answer;
        SecTrustRef trust = TrustCertificationBy(rule, leaf, list, Ask);
        EXPECT_EQ(g_questions, asked ? 1 : 0);
        EXPECT_EQ(trust != nullptr, outcome.trusted)
            << "rule " << static_cast<int>(rule) << ", answer " << outcome.answer;
        if (trust) {
            CFRelease(trust);
        }
    }
};

// The page's anchors take the place of the system's roots, not of a chain to them.
TEST_F(Trust, SystemRoot) {
    Judge(m_underRoot, std::nullopt, {4, 0x4, Accepted, Passed});
    Judge(m_site, std::nullopt, {5, 0x4, Asked, Refused}); // the certificate between is missing
    Judge(m_underRoot, std::vector{m_strangeRoot}, {5, 0x4, Asked, Passed});
    Judge(m_underRoot, std::vector<TestCertificate>{}, {5, 0x4, Asked, Passed});
    Judge(m_root, std::nullopt, {4, 0x314, Accepted, Passed});
}

// A page can vouch for itself, but not under the strict rule.
TEST_F(Trust, AnchorOfThePage) {
    Judge(m_site, std::vector{m_middle}, {4, 0x4, Accepted, Passed});
    Judge(m_underStranger, std::vector{m_strangeRoot}, {4, 0x4, Accepted, Refused});
    Judge(m_selfSigned, std::vector{m_selfSigned}, {4, 0x1C, Accepted, Refused});
    Judge(m_underStranger, std::vector{m_underStranger}, {4, 0xC, Accepted, Refused});
}

TEST_F(Trust, UnknownIssuer) {
    Judge(m_underStranger, std::nullopt, {5, 0x4, Asked, Refused});
    Judge(m_selfSigned, std::nullopt, {5, 0x14, Asked, Refused});
    Judge(m_underStranger, std::vector{m_root, m_middle}, {5, 0x4, Asked, Refused});
}

TEST_F(Trust, ExpiredIsBelievedWhoeverIssuedIt) {
    const TestCertificate oldRoot(Expired(Authority("Old root")));
    const TestCertificate oldMiddle(Expired(Authority("Middle")), m_root);
    const TestCertificate underOldMiddle(Site(), oldMiddle);
    Judge(TestCertificate(Expired(Site()), m_root), std::nullopt, {5, 0x5, Accepted, Refused});
    Judge(TestCertificate(Site(), oldRoot), std::nullopt, {5, 0x4, Accepted, Refused}, {oldRoot});
    Judge(TestCertificate(Expired(Site()), m_strangeRoot), std::nullopt, {5, 0x5, Accepted, Refused});
    Judge(TestCertificate(Expired(Site())), std::nullopt, {5, 0x15, Accepted, Refused});
    Judge(underOldMiddle, std::vector{oldMiddle}, {5, 0x4, Accepted, Refused});
}

TEST_F(Trust, NotValidYet) {
    const TestCertificate youngSelfSigned(NotValidYet(Site()));
    const TestCertificate youngMiddle(NotValidYet(Authority("Middle")), m_root);
    Judge(TestCertificate(NotValidYet(Site()), m_root), std::nullopt, {5, 0x6, Asked, Refused});
    Judge(youngSelfSigned, std::vector{youngSelfSigned}, {5, 0x1E, Asked, Refused});
    Judge(TestCertificate(Site(), youngMiddle), std::vector{youngMiddle}, {5, 0x4, Asked, Refused});
}

TEST_F(Trust, UserTrustsTheSite) {
    UserTrusts(m_selfSigned);
    Judge(m_selfSigned, std::nullopt, {1, 0x254, Accepted, Passed});
    Judge(m_underStranger, std::nullopt, {5, 0x4, Asked, Refused});
}

TEST_F(Trust, UserTrustsTheIssuer) {
    UserTrusts(m_strangeRoot);
    Judge(m_underStranger, std::nullopt, {1, 0x4, Accepted, Passed});
    Judge(m_underStranger, std::vector{m_middle}, {5, 0x4, Asked, Passed}); // anchors of the page count alone
}

TEST_F(Trust, UserTrustsWhatIsOutOfDate) {
    const TestCertificate young(NotValidYet(Site()));
    UserTrusts(young);
    Judge(young, std::nullopt, {5, 0x256, Accepted, Refused});
    const TestCertificate old(Expired(Site()));
    UserTrusts(old);
    Judge(old, std::nullopt, {5, 0x255, Accepted, Refused});
}

TEST_F(Trust, UserRefusesTheSite) {
    UserRefuses(m_underRoot);
    UserTrusts(m_underRoot);
    Judge(m_underRoot, std::nullopt, {3, 0x404, Asked, Refused});
    Judge(m_underRoot, std::vector{m_root, m_underRoot}, {3, 0x404, Asked, Refused});
}

TEST_F(Trust, UserRefusesTheIssuer) {
    UserRefuses(m_root);
    Judge(m_underRoot, std::nullopt, {3, 0x4, Asked, Refused});
    Judge(m_underRoot, std::vector{m_root}, {3, 0x4, Asked, Refused});
    Judge(TestCertificate(Expired(Site()), m_root), std::nullopt, {3, 0x5, Asked, Refused});
}

TEST_F(Trust, TheConfigurationFolderMayLieElsewhere) {
    const TempDir elsewhere;
    UserTrusts(m_strangeRoot);
    setenv("XDG_CONFIG_HOME", elsewhere.path().c_str(), 1);
    Judge(m_underStranger, std::nullopt, {5, 0x4, Asked, Refused});
    elsewhere.Write("lum/certificates/trusted/root", m_strangeRoot.der());
    Judge(m_underStranger, std::nullopt, {1, 0x4, Accepted, Passed});
}

TEST_F(Trust, FolderThatEveryoneCanWriteToIsNotTheUsersWord) {
    UserTrusts(m_strangeRoot);
    fs::permissions(UserFolder("trusted"), fs::perms::others_write, fs::perm_options::add);
    Judge(m_underStranger, std::nullopt, {5, 0x4, Asked, Refused});
}

TEST_F(Trust, OtherFilesInTheFoldersDoNoHarm) {
    Save(UserFolder("trusted") / "notes.txt", "-----BEGIN CERTIFICATE-----\nnone\n");
    Save(UserFolder("trusted") / "empty", "");
    Save(UserFolder("trusted") / "large", std::string(1024 * 1024 + 1, 'x'));
    fs::create_directory(UserFolder("trusted") / "folder");
    Save(UserFolder("trusted") / "two.pem", "a comment\n" + m_selfSigned.Pem() + m_strangeRoot.Pem());
    Judge(m_underStranger, std::nullopt, {1, 0x4, Accepted, Passed});
}

TEST_F(Trust, WrongSignature) {
    const TestCertificate impostor(Authority("Root"));
    Judge(m_underRoot.Damaged(), std::nullopt, {5, 0x4, Asked, Refused});
    Judge(TestCertificate(Site(), impostor), std::nullopt, {5, 0x4, Asked, Refused});
    Judge(m_site, std::vector{m_middle.Damaged()}, {4, 0x4, Accepted, Refused}); // an anchor needs no signature
    Judge(m_selfSigned.Damaged(), std::nullopt, {5, 0x4, Asked, Refused});
}

TEST_F(Trust, AgainstTheRules) {
    const TestCertificate noAuthority(CertificatePlan{.commonName = "Middle"}, m_root);
    CertificatePlan weak = Site();
    weak.key = KeyKind::Rsa1024;
    CertificatePlan oldDigest = Site();
    oldDigest.isSignedWithSha1 = true;
    Judge(TestCertificate(Site(), noAuthority), std::vector{noAuthority}, {5, 0x4, Asked, Refused});
    Judge(TestCertificate(weak, m_root), std::nullopt, {5, 0x4, Asked, Refused});
    Judge(TestCertificate(oldDigest, m_root), std::nullopt, {5, 0x4, Asked, Refused});
    // A key that takes long: nothing is checked with it.
    CertificatePlan slow = Authority("Slow");
    slow.key = KeyKind::RsaWithLongExponent;
    const TestCertificate slowAuthority(slow, m_root);
    const TestCertificate underSlow(Site(), slowAuthority);
    EXPECT_FALSE(Parsed(underSlow).IsIssuedBy(Parsed(slowAuthority)));
    Judge(underSlow, std::vector{slowAuthority}, {5, 0x4, Asked, Refused});
    Judge(slowAuthority, std::nullopt, {5, 0x4, Asked, Refused});
}

TEST_F(Trust, ChainOfFourInAnyOrder) {
    const TestCertificate lower(Authority("Lower"), m_middle);
    const TestCertificate site(Site(), lower);
    std::vector<int> order = {0, 1, 2};
    const std::vector<TestCertificate> others = {m_root, m_middle, lower};
    do {
        Judge(site, std::vector{others[order[0]], others[order[1]], others[order[2]]}, {4, 0x4, Accepted, Passed});
    } while (std::next_permutation(order.begin(), order.end()));
    Judge(site, std::vector{m_middle, m_root}, {5, 0x4, Asked, Refused}); // one is missing
}

// Two authorities that certify each other, and many that share a name, must not keep the page busy.
TEST_F(Trust, CirclesAndCrowdsEnd) {
    const TestCertificate alone(Authority("A"));
    const TestCertificate other(Authority("B"), alone);
    std::vector<TestCertificate> crowd = {other, TestCertificate(Authority("A"), other)};
    for (int i = 0; i < 150; ++i) {
        crowd.emplace_back(Authority("B"));
    }
    const TestCertificate site(Site(), other);
    Judge(site, std::vector{m_middle, m_root}, {5, 0x4, Asked, Refused});
    Judge(site, crowd, {4, 0x4, Accepted, Refused});
    crowd.clear();
    for (int i = 0; i < 150; ++i) {
        crowd.emplace_back(Authority("Middle"));
    }
    crowd.push_back(m_middle); // comes too late
    Judge(m_site, crowd, {5, 0x4, Asked, Refused});
}

TEST_F(Trust, TheBuildChoosesTheRule) {
    SecCertificateRef leaf = NewRef(m_selfSigned);
    SecTrustRef trust = TrustCertification(leaf, (CFArrayRef)[NSArray arrayWithObject:(id)leaf]);
#ifdef LUM_STRICT_TRUST
    EXPECT_EQ(trust, nullptr);
#else
    ASSERT_NE(trust, nullptr);
    CFRelease(trust);
#endif
    CFRelease(leaf);
}

TEST_F(Trust, ThisSystemHasRoots) {
    EXPECT_FALSE(sec::ReadTrustStore(true).systemRoots.empty());
    SecCertificateRef leaf = NewRef(m_underStranger);
    EXPECT_EQ(TrustCertificationBy(TrustRule::Strict, leaf, nullptr, Ask), nullptr);
    CFRelease(leaf);
}

TEST_F(Trust, NullIsNotTrusted) {
    EXPECT_EQ(TrustCertification(nullptr, nullptr), nullptr);
    const unsigned char other[] = {0x2A, 0x03};
    const CSSM_OID oid = {sizeof other, const_cast<uint8_t *>(other)};
    EXPECT_EQ(policyForOID(&oid), nullptr);
    EXPECT_EQ(policyForOID(nullptr), nullptr);
    SecTrustResultType result = 77;
    SecTrustRef trust = nullptr;
    EXPECT_EQ(EvaluateCert(nullptr, nullptr, nullptr, &result, &trust), -108);
    SecCertificateRef leaf = NewRef(m_site);
    EXPECT_EQ(EvaluateCert(leaf, nullptr, nullptr, &result, &trust), errSecParam);
    EXPECT_EQ(trust, nullptr);
    CFRelease(leaf);
}

} // namespace
