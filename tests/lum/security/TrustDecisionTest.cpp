#include "lum/security/TrustDecision.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr unsigned kExpired = 0x1;
constexpr unsigned kNotValidYet = 0x2;
constexpr unsigned kInput = 0x4;
constexpr unsigned kAnchor = 0x8;
constexpr unsigned kRoot = 0x10;

struct Case {
    SecTrustResultType result;
    std::vector<unsigned> bits; // of the chain, the judged certificate first
    TrustVerdict verdict;
};

constexpr auto Accept = TrustVerdict::Accept;
constexpr auto AcceptAllowingExpired = TrustVerdict::AcceptAllowingExpired;
constexpr auto Ask = TrustVerdict::Ask;

void ExpectVerdicts(const std::vector<Case> &cases) {
    for (std::size_t i = 0; i < cases.size(); ++i) {
        std::vector<CSSM_TP_APPLE_EVIDENCE_INFO> evidence;
        for (const unsigned bits : cases[i].bits) {
            evidence.push_back({bits});
        }
        EXPECT_EQ(VerdictOn(cases[i].result, evidence), cases[i].verdict) << "case " << i;
    }
}

TEST(Decision, FollowsTheResult) {
    ExpectVerdicts({{1, {kNotValidYet}, Accept},
                    {4, {kNotValidYet}, Accept},
                    {0, {kInput}, Ask},
                    {2, {kInput}, Ask},
                    {3, {kInput}, Ask},
                    {5, {kInput}, Ask},
                    {6, {kInput}, Ask},
                    {7, {kInput}, Ask},
                    {3, {kInput | kAnchor}, Accept}});
}

TEST(Decision, TakesNoEvidenceForTrust) {
    ExpectVerdicts({{0, {}, Accept}, {3, {}, Accept}, {5, {}, Accept}, {6, {}, Accept}});
}

// Anywhere in the chain, and only for the recoverable failure.
TEST(Decision, LetsExpiredCertificatesPass) {
    ExpectVerdicts({{5, {kInput | kExpired}, AcceptAllowingExpired},
                    {5, {kInput, 0, kRoot | kExpired}, AcceptAllowingExpired},
                    {5, {kInput | kNotValidYet, kExpired}, AcceptAllowingExpired},
                    {6, {kInput | kExpired}, Ask},
                    {3, {kInput, kExpired}, Ask}});
}

TEST(Decision, FollowsTheLeafsBits) {
    ExpectVerdicts({{5, {0x40 | kNotValidYet}, Accept},
                    {5, {0x80 | kNotValidYet}, Accept},
                    {5, {0x100 | kNotValidYet}, Accept},
                    {5, {0x200 | kNotValidYet}, Accept},
                    {5, {kAnchor | kNotValidYet}, Ask},
                    {5, {kAnchor | kRoot}, Accept},
                    {5, {kRoot}, Ask},
                    {5, {kInput, 0x200 | kAnchor}, Ask},
                    {3, {0x400 | kInput}, Ask}});
}

} // namespace
