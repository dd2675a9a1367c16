#include "delivery/release/ReleaseClient.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "base/Digest.h"
#include "delivery/release/ReleaseFault.h"
#include "tests/delivery/release/TestRelease.h"
#include "tests/support/TempDir.h"

namespace delivery {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

const ReleaseTime kNow = std::chrono::sys_days(2026y / 6 / 1);

// Does something when a file is asked for, before it is served.
class Interrupted : public ReleaseFetcher {
public:
    Interrupted(TestRelease &release, std::string at, std::function<void()> act)
        : m_release(release), m_at(std::move(at)), m_act(std::move(act)) {}
    base::Result<std::string> Fetch(const std::string &name, std::uint64_t maxLength, std::string_view saved) override {
        base::Result<std::string> bytes = m_release.Fetch(name, maxLength, saved);
        if (name == m_at) {
            m_act();
        }
        return bytes;
    }

private:
    TestRelease &m_release;
    std::string m_at;
    std::function<void()> m_act;
};

class ReleaseClientTest : public testing::Test {
protected:
    ReleaseClientTest() {
        EXPECT_TRUE(ReleaseClient::Pin(m_folder.path(), m_release.Served("root")));
    }
    std::string Saved(const std::string &role) const {
        return ReadFile(m_folder.path() / (role + ".json"));
    }
    bool IsSaved(const std::string &role) const {
        return std::filesystem::exists(m_folder.path() / (role + ".json"));
    }

    TempDir m_folder;
    TestRelease m_release;
    ReleaseClient m_client{m_folder.path(), m_release};
};

TEST_F(ReleaseClientTest, TellsWhatTheReleaseSaysOfATarget) {
    m_release.AddTarget("targets", "a b/50%/c.tar.zst", "package");
    m_release.content["targets"]["targets"]["a b/50%/c.tar.zst"]["custom"]["note"] = 1;
    m_release.content["targets"]["custom"]["mirrors"].append("https://mirror.example/");
    m_release.Publish();
    EXPECT_FALSE(m_client.Find("lummac.ini")) << "not before a refresh";
    ASSERT_TRUE(m_client.Refresh(kNow));
    EXPECT_THAT(m_release.requests, ElementsAre("2.root.json", "timestamp.json", "2.snapshot.json", "2.targets.json"));
    const base::Result<ReleaseTarget> target = m_client.Find("a b/50%/c.tar.zst");
    ASSERT_TRUE(target) << target.error().text;
    EXPECT_EQ(target->address, "a%20b/50%25/" + base::DigestOfText("package") + ".c.tar.zst");
    EXPECT_EQ(target->facts.length, 7U);
    EXPECT_EQ(target->custom["note"].asInt(), 1);
    EXPECT_EQ(m_client.trusted()->targets("targets")->custom["mirrors"][0].asString(), "https://mirror.example/");

    m_release.requests.clear();
    ASSERT_TRUE(m_client.Refresh(kNow));
    EXPECT_THAT(m_release.requests, ElementsAre("2.root.json", "timestamp.json")) << "nothing is fetched twice";
}

TEST_F(ReleaseClientTest, WithoutConsistentSnapshotsNamesAreFixed) {
    m_release.content["root"]["consistent_snapshot"] = false;
    m_release.PublishRoot();
    m_release.Publish();
    ASSERT_TRUE(m_client.Refresh(kNow));
    EXPECT_THAT(m_release.requests,
                ElementsAre("2.root.json", "3.root.json", "timestamp.json", "snapshot.json", "targets.json"));
    EXPECT_EQ(m_client.Find("lummac.ini")->address, "lummac.ini");
}

TEST_F(ReleaseClientTest, WithoutNetworkWhatIsSavedIsGoodUntilItExpires) {
    const base::Result<void> nothing = m_client.Recall(kNow);
    ASSERT_FALSE(nothing);
    EXPECT_EQ(FaultOf(nothing.error()), ReleaseFault::Unreachable) << nothing.error().text;

    m_release.Delegate("targets", "team", 6, {"team/*"});
    m_release.Publish();
    ASSERT_TRUE(m_client.Refresh(kNow));
    m_release.requests.clear();
    ASSERT_TRUE(m_client.Recall(kNow));
    EXPECT_TRUE(m_client.Find("lummac.ini"));
    EXPECT_EQ(FaultOf(m_client.Find("team/x").error()), ReleaseFault::Unreachable);
    const base::Result<void> expired = m_client.Recall(std::chrono::sys_days(2030y / 1 / 1));
    ASSERT_FALSE(expired);
    EXPECT_EQ(FaultOf(expired.error()), ReleaseFault::Expired) << "the moment of expiry itself is too late";
    EXPECT_TRUE(m_release.requests.empty());
}

TEST_F(ReleaseClientTest, HashBinsShareTheTargets) {
    std::map<char, std::string> bins; // first digit of a path's hash -> role
    for (const char digit : std::string_view("0123456789abcdef")) {
        const std::string role = std::string("bin-") + digit;
        m_release.Delegate("targets", role, 8, {});
        Json::Value &entry = m_release.content["targets"]["delegations"]["roles"][Json::ArrayIndex(bins.size())];
        entry.removeMember("paths");
        entry["path_hash_prefixes"].append(std::string(1, digit));
        bins[digit] = role;
    }
    for (int i = 0; i < 50; ++i) {
        const std::string path = "package-" + std::to_string(i);
        m_release.AddTarget(bins.at(base::DigestOfText(path).front()), path, path);
    }
    m_release.AddTarget(bins.at(base::DigestOfText("stray").front() == '0' ? '1' : '0'), "stray", "stray");
    m_release.Publish();
    ASSERT_TRUE(m_client.Refresh(kNow));
    for (int i = 0; i < 50; ++i) {
        EXPECT_TRUE(m_client.Find("package-" + std::to_string(i)));
    }
    EXPECT_FALSE(m_client.Find("stray")) << "in a bin that must not speak of it";
    EXPECT_EQ(m_release.requests.size(), 4U + 16U) << "no bin is fetched twice";
}

TEST_F(ReleaseClientTest, VisitorsFollowARotatedRoot) {
    ASSERT_TRUE(m_client.Refresh(kNow));
    m_release.SetKeys("root", {1, 2, 20}, 2);
    m_release.signers["root"] = {0, 1, 2, 20};
    m_release.PublishRoot();
    m_release.SetKeys("root", {20, 21}, 2);
    m_release.signers["root"] = {2, 20, 21};
    m_release.SetKeys("targets", {22});
    m_release.PublishRoot();
    m_release.Publish();
    ASSERT_TRUE(m_client.Refresh(kNow));
    EXPECT_EQ(Saved("root"), m_release.files.at("3.root.json"));
    EXPECT_EQ(m_client.trusted()->root()->head.version, 3U);
    EXPECT_TRUE(m_client.Find("lummac.ini"));
}

TEST_F(ReleaseClientTest, WithdrawnKeysTakeTheirVersionsWithThem) {
    for (int i = 0; i < 9; ++i) {
        m_release.Publish(); // by a thief of the timestamp key
    }
    ASSERT_TRUE(m_client.Refresh(kNow));
    TestRelease honest;
    honest.SetKeys("timestamp", {30});
    honest.PublishRoot();
    honest.Publish();
    ReleaseClient client(m_folder.path(), honest);
    const base::Result<void> refreshed = client.Refresh(kNow);
    ASSERT_TRUE(refreshed) << refreshed.error().text;
    EXPECT_EQ(Saved("timestamp"), honest.files.at("timestamp.json"));
    EXPECT_EQ(Saved("snapshot"), honest.files.at("2.snapshot.json"));
    EXPECT_EQ(Saved("targets"), honest.files.at("2.targets.json"));
}

TEST_F(ReleaseClientTest, AKeyThatJoinsDoesNotOpenTheWayBack) {
    m_release.Publish();
    ASSERT_TRUE(m_client.Refresh(kNow));
    m_release.SetKeys("timestamp", {3, 31});
    m_release.PublishRoot();
    m_release.content["timestamp"]["version"] = 1;
    m_release.Serve("timestamp");
    EXPECT_EQ(FaultOf(m_client.Refresh(kNow).error()), ReleaseFault::Rollback);
}

TEST_F(ReleaseClientTest, DamagedFilesAreFetchedAgainButTheRootIsNot) {
    m_release.Delegate("targets", "team", 6, {"team/*"});
    m_release.AddTarget("team", "team/x", "x");
    m_release.Publish();
    for (const char *role : {"timestamp", "snapshot", "targets", "team"}) {
        ASSERT_TRUE(m_client.Refresh(kNow) && m_client.Find("team/x"));
        const std::string good = Saved(role);
        for (const std::string &damaged : {std::string(), good.substr(0, good.size() / 2), "{" + good}) {
            m_folder.Write(role + std::string(".json"), damaged);
            ASSERT_TRUE(m_client.Refresh(kNow) && m_client.Find("team/x")) << role;
            EXPECT_EQ(Saved(role), good);
        }
    }
    m_release.requests.clear();
    m_folder.Write("root.json", "{}");
    EXPECT_EQ(FaultOf(m_client.Refresh(kNow).error()), ReleaseFault::Malformed);
    std::filesystem::remove(m_folder.path() / "root.json");
    EXPECT_EQ(FaultOf(m_client.Refresh(kNow).error()), ReleaseFault::NoRoot);
    EXPECT_TRUE(m_release.requests.empty());
}

TEST_F(ReleaseClientTest, PinningForgetsTheReleaseBefore) {
    ASSERT_TRUE(m_client.Refresh(kNow));
    EXPECT_FALSE(ReleaseClient::Pin(m_folder.path(), m_release.Served("targets")));
    EXPECT_TRUE(IsSaved("timestamp")) << "a root that is none changes nothing";
    TestRelease other;
    other.SetKeys("root", {40});
    other.Serve("root");
    ASSERT_TRUE(ReleaseClient::Pin(m_folder.path(), other.Served("root")));
    EXPECT_EQ(Saved("root"), other.Served("root"));
    EXPECT_FALSE(IsSaved("timestamp") || IsSaved("snapshot") || IsSaved("targets"));
}

TEST_F(ReleaseClientTest, OfTwoAtOnceTheNewerStays) {
    TestRelease newer = m_release;
    newer.SetKeys("snapshot", {32});
    newer.PublishRoot();
    newer.Publish();
    newer.Publish();
    TestRelease sameRoot = m_release;
    sameRoot.Publish();
    for (TestRelease *other : {&sameRoot, &newer}) {
        for (const char *at : {"timestamp.json", "1.snapshot.json", "1.targets.json"}) {
            SCOPED_TRACE(at);
            ASSERT_TRUE(ReleaseClient::Pin(m_folder.path(), m_release.Served("root")));
            Interrupted slow(m_release, at, [&] {
                ReleaseClient fast(m_folder.path(), *other);
                EXPECT_TRUE(fast.Refresh(kNow));
            });
            ReleaseClient client(m_folder.path(), slow);
            EXPECT_TRUE(client.Refresh(kNow)) << "the slow one is not disturbed";
            for (const char *role : {"root", "timestamp", "snapshot", "targets"}) {
                EXPECT_EQ(Saved(role), other->Served(role)) << role;
            }
        }
    }
}

// A process that refreshes from ever newer releases until it is killed.
[[noreturn]] void RefreshForever(const std::filesystem::path &folder, TestRelease release) {
    for (unsigned round = 0;; ++round) {
        release.Publish();
        if (round % 8 == 3) {
            release.PublishRoot();
        }
        ReleaseClient client(folder, release);
        if (!client.Refresh(kNow) || !client.Find("team/x")) {
            _exit(1);
        }
    }
}

std::uint64_t VersionOf(const std::string &saved) {
    const std::size_t at = saved.rfind("\"version\":");
    return std::stoull(saved.substr(at + 10));
}

TEST_F(ReleaseClientTest, AKillLosesNothing) {
    m_release.Delegate("targets", "team", 6, {"team/*"});
    m_release.AddTarget("team", "team/x", "x");
    m_release.Publish();
    ASSERT_TRUE(m_client.Refresh(kNow) && m_client.Find("team/x"));
    std::map<std::string, std::uint64_t> versions;
    for (int kill_ = 0; kill_ < 100; ++kill_) {
        // Each goes on from the release that the one before has reached.
        for (const char *role : {"root", "timestamp", "snapshot", "targets", "team"}) {
            const std::uint64_t version = VersionOf(Saved(role));
            EXPECT_GE(version, versions[role]) << role << " went back after kill " << kill_;
            versions[role] = version;
        }
        TestRelease release = m_release;
        for (auto &[role, content] : release.content) {
            content["version"] = Json::UInt64(versions[role == "root" ? role : "timestamp"]);
        }
        release.Serve("root");
        const pid_t child = fork();
        if (child == 0) {
            RefreshForever(m_folder.path(), release);
        }
        usleep(static_cast<useconds_t>(1000 + kill_ * 7919 % 60'000));
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, WNOHANG), 0) << "it has ended by itself";
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        for (const auto &[role, type] : {std::pair{"root", MetadataType::Root},
                                         {"timestamp", MetadataType::Timestamp},
                                         {"snapshot", MetadataType::Snapshot},
                                         {"targets", MetadataType::Targets},
                                         {"team", MetadataType::Targets}}) {
            EXPECT_TRUE(ReadSigned(role, type, Saved(role))) << role << " is whole";
        }
    }
    EXPECT_GT(versions["timestamp"], 20U) << "the processes did something";
    EXPECT_GT(versions["root"], 1U);
}

} // namespace
} // namespace delivery
