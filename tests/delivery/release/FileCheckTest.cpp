#include "delivery/release/FileCheck.h"

#include <gmock/gmock.h>

#include "delivery/release/ReleaseFault.h"

namespace delivery {
namespace {

const std::string kBytes = "the bytes of a package";

std::string Sha(base::DigestMethod method) {
    return base::DigestOfText(kBytes, method);
}

TEST(FileCheck, EveryListedHashMustMatch) {
    const std::string sha256 = Sha(base::DigestMethod::Sha256);
    const std::string sha512 = Sha(base::DigestMethod::Sha512);
    struct {
        FileFacts facts;
        std::optional<ReleaseFault> fault;
        const char *text;
    } const cases[] = {
        {{kBytes.size(), {{"sha256", sha256}}}, {}, ""},
        {{kBytes.size(), {{"sha256", sha256}, {"sha512", sha512}, {"blake9", "?"}}}, {}, ""},
        {{{}, {{"sha512", sha512}}}, {}, ""},
        {{{}, {}}, {}, ""},
        {{kBytes.size(), {{"sha256", std::string(64, '0')}, {"sha512", sha512}}},
         ReleaseFault::Mismatch,
         "sha256 hash differs"},
        {{kBytes.size(), {{"blake9", "?"}}}, ReleaseFault::Mismatch, "no hash of x that this program knows"},
        {{kBytes.size() + 1, {{"sha256", sha256}}}, ReleaseFault::Mismatch, "x has 22 bytes, but the release lists 23"},
        {{kBytes.size() - 1, {{"sha256", sha256}}}, ReleaseFault::TooLong, "x is longer than the 21 bytes"},
    };
    for (const auto &c : cases) {
        const base::Result<void> checked = CheckFile("x", c.facts, kBytes);
        ASSERT_EQ(!checked, c.fault.has_value()) << c.text;
        if (!checked) {
            EXPECT_EQ(FaultOf(checked.error()), *c.fault);
            EXPECT_THAT(checked.error().text, testing::HasSubstr(c.text));
        }
    }
}

TEST(FileCheck, TheFirstByteTooManyIsRefused) {
    FileCheck check("x", {kBytes.size(), {{"sha256", Sha(base::DigestMethod::Sha256)}}});
    for (const char byte : kBytes) {
        ASSERT_TRUE(check.Add({&byte, 1}));
    }
    EXPECT_FALSE(check.Add("!"));
}

} // namespace
} // namespace delivery
