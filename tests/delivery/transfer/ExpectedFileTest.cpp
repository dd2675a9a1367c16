// Files that a release lists, checked while they arrive, and small files that a thread waits for.
#include <gmock/gmock.h>

#include "base/Digest.h"
#include "delivery/release/ReleaseFault.h"
#include "delivery/transfer/Transfers.h"
#include "tests/support/FaultServer.h"
#include "tests/support/TempDir.h"

namespace delivery {
namespace {

using Length = FaultServer::Length;

const std::string kFile = FaultServer::Pattern(100'000);
constexpr char kTag[] = "\"one\"";

TransferOrder Expecting(const std::string &bytes) {
    return {.expected = ExpectedFile{"a.tgz", {bytes.size(), {{"sha256", base::DigestOfText(bytes)}}}}};
}

TEST(Transfers, CheckTheExpectedFileWhileItArrives) {
    TempDir folder;
    TransferSettings settings;
    settings.folder = folder.path();
    settings.firstPause = settings.longestPause = std::chrono::milliseconds(4);
    Transfers transfers(settings, [] {});
    const TransferOrder expecting = Expecting(kFile);
    std::string other = kFile;
    other.back() ^= 1;
    const std::optional<ReleaseFault> none;
    struct Case {
        const char *what;
        std::vector<FaultServer::Answer> answers;
        TransferOrder order;
        bool ok;
        std::optional<ReleaseFault> mismatch = {};
    };
    const Case cases[] = {
        {"the file", {{.body = kFile}}, expecting, true},
        {"in two parts",
         {{.body = kFile, .etag = kTag, .dropAfter = 5000}, {.body = kFile, .etag = kTag}},
         expecting,
         true},
        {"of a length that is not told, broken off",
         {{.body = kFile, .dropAfter = 9, .length = Length::None}, {.body = kFile}},
         expecting,
         true},
        {"another one", {{.body = other}}, expecting, false, ReleaseFault::Mismatch},
        {"another one in the second part",
         {{.body = kFile, .etag = kTag, .dropAfter = 5000}, {.body = other, .etag = kTag}},
         expecting,
         false,
         ReleaseFault::Mismatch},
        {"longer", {{.body = kFile + "x"}}, expecting, false, ReleaseFault::TooLong},
        {"without end", {{.endless = true}}, expecting, false, ReleaseFault::TooLong},
        {"shorter", {{.body = "x"}}, expecting, false, ReleaseFault::Mismatch},
        {"nothing expected, but too large", {{.body = kFile}}, {.maxBytes = 99'999}, false},
        {"known", {{.body = kFile, .etag = kTag}}, {.knownTag = kTag}, true},
        {"no longer known", {{.body = kFile, .etag = "\"two\""}}, {.knownTag = kTag}, true},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.what);
        FaultServer server;
        server.On("/a", test.answers);
        const TransferResult result = transfers.Wait(server.Url("/a"), test.order, [] { return false; });
        EXPECT_EQ(test.ok, result.ok) << result.error;
        EXPECT_EQ(test.mismatch, result.mismatch ? std::optional(FaultOf(*result.mismatch)) : none);
        EXPECT_EQ(test.order.maxBytes == 99'999, result.tooLarge);
        EXPECT_EQ(test.what == std::string("known"), result.unchanged);
        if (result.ok && !result.unchanged) {
            EXPECT_EQ(kFile, ReadFile(result.file));
            EXPECT_EQ(test.answers.back().etag, result.tag);
        }
        EXPECT_EQ(test.answers.size(), server.requests().size());
    }
    FaultServer server;
    server.On("/a", {{.body = kFile, .bytesPerSecond = 10}});
    EXPECT_FALSE(transfers.Wait(server.Url("/a"), {}, [&] { return server.requests().size() == 1; }).ok);
}

} // namespace
} // namespace delivery
