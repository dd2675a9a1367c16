// Downloads that several starts share: they come side by side, one after the other, and end at any moment.
#include <filesystem>
#include <fstream>

#include "base/Digest.h"
#include "tests/delivery/transfer/TransferClient.h"
#include "tests/support/FaultServer.h"

namespace fs = std::filesystem;
using std::chrono::milliseconds;

namespace {

// Clients of one folder, as starts at the same time are, and a file of which they know the digest.
class SharedTransfers : public testing::Test {
protected:
    static constexpr std::uint64_t kSize = 400'000;

    struct Start {
        Start(const fs::path &folder, milliseconds stall) : client(Impatient(stall), folder) {}
        static delivery::TransferSettings Impatient(milliseconds stall) {
            delivery::TransferSettings settings = Client::Quick();
            settings.stallTimeout = stall;
            return settings;
        }
        Client client;
        Outcome outcome;
    };

    std::unique_ptr<Start> Begin(milliseconds stall = milliseconds(20'000)) {
        auto start = std::make_unique<Start>(place.path(), stall);
        start->client.Start(server.Url("/a?random=" + std::to_string(++m_number)), start->outcome, known);
        return start;
    }
    static void WaitForBytes(Start &start) {
        start.client.RunUntil([&] { return start.outcome.progress > 0; });
    }
    void ExpectWhole(Start &start) const {
        start.client.RunUntil([&] { return start.outcome.done > 0; });
        EXPECT_TRUE(start.outcome.content == content) << start.outcome.result.error;
        EXPECT_EQ(kSize, start.outcome.progress);
    }
    std::size_t Kept() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(place / "packages"), {}));
    }

    const TempDir place;
    const std::string content = FaultServer::Pattern(kSize);
    const delivery::KnownFile known{"the file", "sha256", base::DigestOfText(content)};
    FaultServer server;
    const FaultServer::Answer slow{.body = content, .etag = "\"1\"", .bytesPerSecond = 800'000};

private:
    int m_number = 0;
};

TEST_F(SharedTransfers, SideBySideItIsDownloadedOnce) {
    server.On("/a", {slow});
    std::vector<std::unique_ptr<Start>> starts;
    for (int i = 0; i < 4; ++i) {
        starts.push_back(Begin());
    }
    for (const auto &start : starts) {
        ExpectWhole(*start);
    }
    ExpectWhole(*Begin());
    server.ExpectExactly({"GET /a"});
    starts.clear();
    EXPECT_EQ(0U, Kept()) << "nobody wants it any more";
}

TEST_F(SharedTransfers, OneGoesOnWhereAnotherWasInterrupted) {
    const struct {
        const char *what;
        FaultServer::Answer then;
        bool damaged;      // the part is changed on the disk
        std::size_t asked; // requests of the second start
    } cases[] = {
        {"the rest", slow, false, 1},
        {"the site has another file by now", {.body = content, .etag = "\"2\""}, false, 1},
        {"the part was damaged", slow, true, 2},
    };
    for (const auto &test : cases) {
        SCOPED_TRACE(test.what);
        server.On("/a", {slow, test.then});
        {
            const auto interrupted = Begin();
            WaitForBytes(*interrupted);
            EXPECT_TRUE(interrupted->client.transfers().KeepsParts());
        }
        EXPECT_EQ(2U, Kept());
        for (const auto &entry : fs::directory_iterator(place / "packages")) {
            if (test.damaged && !entry.path().has_extension()) {
                std::fstream(entry.path(), std::ios::in | std::ios::out) << "damage";
            }
        }
        server.ForgetRequests();
        ExpectWhole(*Begin());
        EXPECT_EQ(test.asked, server.requests().size());
        EXPECT_TRUE(server.requests()[0].Header("range")) << "the rest was asked for";
        EXPECT_EQ(0U, Kept());
    }
}

TEST_F(SharedTransfers, NobodyWaitsForOneThatDoesNotGoOn) {
    server.On("/a", {slow});
    auto ended = Begin();
    WaitForBytes(*ended);
    const auto next = Begin();
    WaitForBytes(*next);
    ended.reset();
    ExpectWhole(*next);
    EXPECT_TRUE(server.requests().back().Header("range")) << "it has taken over";

    const delivery::KnownFile other{"another file", "sha256", known.digest};
    server.On("/b", {{.body = content, .delay = milliseconds(60'000)}, slow});
    Start stalled(place.path(), milliseconds(20'000)), impatient(place.path(), milliseconds(300));
    stalled.client.Start(server.Url("/b"), stalled.outcome, other);
    EXPECT_TRUE(server.WaitForRequests(3));
    impatient.client.Start(server.Url("/b"), impatient.outcome, other);
    ExpectWhole(impatient);
}

} // namespace
