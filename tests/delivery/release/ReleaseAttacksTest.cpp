// What somebody with the network, or with some of the site's keys, can try, and the sentence that the user gets.
#include <gmock/gmock.h>

#include <functional>

#include "base/Digest.h"
#include "delivery/release/ReleaseClient.h"
#include "delivery/release/ReleaseFault.h"
#include "tests/delivery/release/TestRelease.h"
#include "tests/support/TempDir.h"

namespace delivery {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

const ReleaseTime kNow = std::chrono::sys_days(2026y / 6 / 1);
constexpr char kPast[] = "2026-05-01T08:30:00Z";

struct Attack {
    const char *name;
    std::function<void(TestRelease &)> tried;
    ReleaseFault fault;
    std::string sentence; // a part of it
    const char *last;     // the last request
};

// The roles whose saved files have changed.
std::map<std::string, std::string> Saved(const TempDir &folder) {
    std::map<std::string, std::string> saved;
    for (const auto &entry : std::filesystem::directory_iterator(folder.path())) {
        saved[entry.path().filename()] = ReadFile(entry.path());
    }
    return saved;
}

// A visitor who has version 2 of a release with a delegated role.
class ReleaseAttacks : public testing::Test {
protected:
    ReleaseAttacks() {
        Publish();
        EXPECT_TRUE(ReleaseClient::Pin(m_folder.path(), m_release.Served("root")));
        EXPECT_TRUE(m_client.Refresh(kNow));
        EXPECT_TRUE(m_client.Find("team/x"));
        m_release.requests.clear();
    }
    void Publish() {
        m_release.Delegate("targets", "team", 6, {"team/*"});
        m_release.AddTarget("team", "team/x", "x");
        m_release.Publish();
    }

    TempDir m_folder;
    TestRelease m_release;
    ReleaseClient m_client{m_folder.path(), m_release};
};

void Expire(TestRelease &release, const char *role) {
    release.content[role]["expires"] = kPast;
}

// Serves another text under the name of a role, and says so nowhere.
void Replace(TestRelease &release, const std::string &name, const std::string &text) {
    release.files[name] = text;
}

std::string With(const TestRelease &release, const std::string &role, const std::string &before,
                 const std::string &after) {
    std::string text = release.Served(role);
    const std::size_t at = text.find(before);
    EXPECT_NE(at, std::string::npos) << before;
    return text.replace(at, before.size(), after);
}

const Attack kRefreshAttacks[] = {
    {"rollback: an old timestamp",
     [](TestRelease &r) {
         r.content["timestamp"]["version"] = 1;
         r.Serve("timestamp");
     },
     ReleaseFault::Rollback,
     "timestamp.json has version 1, older than version 2 that was accepted before; the site serves an older release, "
     "or "
     "somebody replays one: the site has to publish a newer one",
     "timestamp.json"},
    {"rollback: an old snapshot in a new timestamp",
     [](TestRelease &r) {
         r.content["timestamp"]["meta"]["snapshot.json"]["version"] = 1;
         r.PublishTimestamp();
     },
     ReleaseFault::Rollback, "the snapshot.json that timestamp.json lists has version 1, older than version 2",
     "timestamp.json"},
    {"rollback: old targets in a new snapshot",
     [](TestRelease &r) {
         r.content["snapshot"]["meta"]["targets.json"]["version"] = 1;
         r.PublishSnapshot();
     },
     ReleaseFault::Rollback, "the targets.json that snapshot.json lists has version 1, older than version 2",
     "3.snapshot.json"},
    {"rollback: a role that vanishes",
     [](TestRelease &r) {
         r.content["snapshot"]["meta"].removeMember("team.json");
         r.PublishSnapshot();
     },
     ReleaseFault::Rollback, "snapshot.json no longer lists team.json, which was accepted before", "3.snapshot.json"},
    {"freeze: nothing new for too long",
     [](TestRelease &r) {
         Expire(r, "timestamp");
         r.PublishTimestamp();
     },
     ReleaseFault::Expired,
     "timestamp.json expired on 2026-05-01 08:30:00 UTC; the site has to renew its release, unless the clock of this "
     "computer (2026-06-01 00:00:00 UTC) is wrong",
     "timestamp.json"},
    {"freeze: an expired root",
     [](TestRelease &r) {
         Expire(r, "root");
         r.PublishRoot();
     },
     ReleaseFault::Expired, "root.json expired on 2026-05-01 08:30:00 UTC", "3.root.json"},
    {"freeze: an expired snapshot",
     [](TestRelease &r) {
         Expire(r, "snapshot");
         r.PublishSnapshot();
     },
     ReleaseFault::Expired, "snapshot.json expired on", "3.snapshot.json"},
    {"freeze: expired targets",
     [](TestRelease &r) {
         Expire(r, "targets");
         r.Publish();
     },
     ReleaseFault::Expired, "targets.json expired on", "3.targets.json"},
    {"mix and match: old targets beside a new snapshot",
     [](TestRelease &r) {
         const std::string old = r.Served("targets");
         r.Publish();
         Replace(r, "3.targets.json", old);
     },
     ReleaseFault::Mismatch, "targets.json has version 2, but snapshot.json lists version 3; the site has to publish",
     "3.targets.json"},
    {"mix and match: other targets of the same version",
     [](TestRelease &r) {
         r.Publish();
         const std::string listed = r.Served("targets");
         r.content["snapshot"]["meta"]["targets.json"]["hashes"]["sha256"] = base::DigestOfText(listed);
         r.PublishSnapshot();
         r.AddTarget("targets", "lummac.ini", "another instruction file");
         r.Serve("targets");
     },
     ReleaseFault::Mismatch, "targets.json is not the file of the release: its sha256 hash differs", "3.targets.json"},
    {"mix and match: a snapshot served as a timestamp",
     [](TestRelease &r) { Replace(r, "timestamp.json", r.Served("snapshot")); }, ReleaseFault::Malformed,
     "timestamp.json cannot be used: it is of the type \"snapshot\", not \"timestamp\"", "timestamp.json"},
    {"forged: a timestamp of another key",
     [](TestRelease &r) {
         r.signers["timestamp"] = {50};
         r.PublishTimestamp();
     },
     ReleaseFault::NotSigned,
     "timestamp.json is not signed by 1 of the 1 keys of the role \"timestamp\" (0 signatures are valid); the site has "
     "to "
     "sign it again",
     "timestamp.json"},
    {"forged: a changed byte",
     [](TestRelease &r) {
         r.Publish();
         Replace(r, "3.targets.json", With(r, "targets", "lummac.ini", "lummac.inj"));
     },
     ReleaseFault::NotSigned, "targets.json is not signed by 1 of the 1 keys", "3.targets.json"},
    {"stolen online keys: targets signed with them",
     [](TestRelease &r) {
         r.signers["targets"] = {3, 4};
         r.Publish();
     },
     ReleaseFault::NotSigned, "targets.json is not signed by 1 of the 1 keys", "3.targets.json"},
    {"stolen root key: one of the two that a root needs",
     [](TestRelease &r) {
         r.signers["root"] = {0};
         r.PublishRoot();
     },
     ReleaseFault::NotSigned, "root.json is not signed by 2 of the 3 keys of the role \"root\" (1 signature is valid)",
     "2.root.json"},
    {"stolen root key: it signs twice",
     [](TestRelease &r) {
         r.signers["root"] = {0, 0};
         r.PublishRoot();
     },
     ReleaseFault::Malformed, "root.json cannot be used: it has two signatures of the same key", "2.root.json"},
    {"new root: the old keys do not agree",
     [](TestRelease &r) {
         r.SetKeys("root", {20, 21}, 2);
         r.PublishRoot();
     },
     ReleaseFault::NotSigned, "root.json is not signed by 2 of the 3 keys", "2.root.json"},
    {"new root: its own keys do not agree",
     [](TestRelease &r) {
         r.SetKeys("root", {20, 21}, 2);
         r.signers["root"] = {0, 1};
         r.PublishRoot();
     },
     ReleaseFault::NotSigned,
     "root.json is not signed by 2 of the 2 keys of the role \"root\" (0 signatures are valid)", "2.root.json"},
    {"new root: a version is left out",
     [](TestRelease &r) {
         r.content["root"]["version"] = 3;
         r.Serve("root");
         Replace(r, "2.root.json", r.Served("root"));
     },
     ReleaseFault::Rollback, "the root after version 1 has version 3", "2.root.json"},
    {"one key under two ids",
     [](TestRelease &r) {
         Json::Value same = TestKey(4).Public();
         same["note"] = "again";
         Json::Value &root = r.content["root"];
         const std::string id =
             base::DigestOfText(R"({"keytype":"ed25519","keyval":{"public":")" + same["keyval"]["public"].asString() +
                                R"("},"note":"again","scheme":"ed25519"})");
         root["keys"][id] = same;
         root["roles"]["snapshot"]["keyids"].append(id);
         root["roles"]["snapshot"]["threshold"] = 2;
         r.PublishRoot();
         r.PublishSnapshot();
         std::string text = r.Served("snapshot");
         const std::string entry = text.substr(text.find("{\"keyid"), text.find("}]") + 1 - text.find("{\"keyid"));
         std::string twin = entry;
         twin.replace(twin.find(TestKey(4).Id()), id.size(), id);
         Replace(r, "3.snapshot.json", text.replace(text.find(entry), entry.size(), entry + "," + twin));
     },
     ReleaseFault::NotSigned,
     "snapshot.json needs the signatures of 2 keys, but the role \"snapshot\" has only 1 usable; the site has to list "
     "more keys or ask for fewer",
     "3.snapshot.json"},
    {"a key under another's id",
     [](TestRelease &r) {
         r.content["root"]["keys"][TestKey(4).Id()] = TestKey(50).Public();
         r.PublishRoot();
         r.signers["snapshot"] = {50};
         r.PublishSnapshot();
     },
     ReleaseFault::NotSigned, "the role \"snapshot\" has only 0 usable", "3.snapshot.json"},
    {"endless data: the timestamp", [](TestRelease &r) { Replace(r, "timestamp.json", std::string(16'385, ' ')); },
     ReleaseFault::TooLong, "timestamp.json is longer than 16384 bytes", "timestamp.json"},
    {"endless data: more than is listed",
     [](TestRelease &r) {
         r.PublishSnapshot();
         r.content["timestamp"]["meta"]["snapshot.json"]["length"] = 10;
         r.PublishTimestamp();
     },
     ReleaseFault::TooLong, "3.snapshot.json is longer than 10 bytes", "3.snapshot.json"},
    {"a length that nobody can hold",
     [](TestRelease &r) {
         r.PublishSnapshot();
         r.content["timestamp"]["meta"]["snapshot.json"]["length"] = Json::Int64(1) << 60;
         r.PublishTimestamp();
         Replace(r, "3.snapshot.json", std::string(2'000'001, ' '));
     },
     ReleaseFault::TooLong, "3.snapshot.json is longer than 2000000 bytes", "3.snapshot.json"},
    {"two meanings: a name twice",
     [](TestRelease &r) {
         Replace(r, "timestamp.json", With(r, "timestamp", "\"version\":2}", "\"version\":2,\"version\":9}"));
     },
     ReleaseFault::Malformed, "timestamp.json cannot be used: it is not JSON (", "timestamp.json"},
    {"a stack that overflows", [](TestRelease &r) { Replace(r, "timestamp.json", std::string(10'000, '[')); },
     ReleaseFault::Malformed, "timestamp.json cannot be used: it is nested too deeply", "timestamp.json"},
    {"a later format",
     [](TestRelease &r) {
         r.content["timestamp"]["spec_version"] = "2.0.0";
         r.PublishTimestamp();
     },
     ReleaseFault::Malformed, "follows version \"2.0.0\" of The Update Framework, and this program reads version 1",
     "timestamp.json"},
    {"withheld: the snapshot",
     [](TestRelease &r) {
         r.Publish();
         r.files.erase("3.snapshot.json");
     },
     ReleaseFault::NotFound, "3.snapshot.json is not there", "3.snapshot.json"},
};

// "3.snapshot.json" -> "snapshot.json"
std::string SavedName(const std::string &request) {
    return request.substr(request.find_first_not_of("0123456789."));
}

// Two roots and four releases later.
TestRelease Recovered(TestRelease release) {
    for (int i = 0; i < 2; ++i) {
        release.PublishRoot();
    }
    for (int i = 0; i < 4; ++i) {
        release.Publish();
    }
    return release;
}

TEST_F(ReleaseAttacks, AreRefusedWithASentence) {
    const auto before = Saved(m_folder);
    for (const Attack &attack : kRefreshAttacks) {
        SCOPED_TRACE(attack.name);
        TempDir folder;
        std::filesystem::copy(m_folder.path(), folder.path(), std::filesystem::copy_options::recursive);
        TestRelease release = m_release;
        attack.tried(release);
        ReleaseClient client(folder.path(), release);
        const base::Result<void> refreshed = client.Refresh(kNow);
        ASSERT_FALSE(refreshed);
        EXPECT_EQ(FaultOf(refreshed.error()), attack.fault) << refreshed.error().text;
        EXPECT_THAT(refreshed.error().text, HasSubstr(attack.sentence));
        EXPECT_EQ(release.requests.back(), attack.last);
        EXPECT_FALSE(client.Find("lummac.ini")) << "nothing of a refused release is used";
        const bool isRootThatExpired = std::string(attack.last) == "3.root.json"; // which is kept (5.3.8)
        if (!isRootThatExpired) {
            EXPECT_EQ(Saved(folder)[SavedName(attack.last)], before.at(SavedName(attack.last)));
        }

        TestRelease recovered = Recovered(m_release);
        ReleaseClient later(folder.path(), recovered);
        const base::Result<void> again = later.Refresh(kNow);
        EXPECT_TRUE(again) << "a visitor must be able to return: " << again.error().text;
    }
}

TEST_F(ReleaseAttacks, InTheSearchForATarget) {
    const struct {
        const char *name;
        std::function<void(TestRelease &)> tried;
        const char *target;
        ReleaseFault fault;
        const char *sentence;
    } attacks[] = {
        {"not published", [](TestRelease &) {}, "other", ReleaseFault::NotInRelease,
         "\"other\" is not in the release of the site; the site has to publish it"},
        {"a role speaks of what it was not given",
         [](TestRelease &r) {
             r.AddTarget("team", "lumext.tar.zst", "x");
             r.Publish();
         },
         "lumext.tar.zst", ReleaseFault::NotInRelease, "\"lumext.tar.zst\" is not in the release"},
        {"a role that another key signed",
         [](TestRelease &r) {
             r.signers["team"] = {50};
             r.Publish();
         },
         "team/x", ReleaseFault::NotSigned, "team.json is not signed by 1 of the 1 keys of the role \"team\""},
        {"a role that the snapshot does not know",
         [](TestRelease &r) {
             r.Delegate("targets", "more", 7, {"more/*"});
             r.Publish();
             r.content["snapshot"]["meta"].removeMember("more.json");
             r.PublishSnapshot();
         },
         "more/x", ReleaseFault::Mismatch, "snapshot.json does not list more.json"},
        {"a role that would overwrite the root",
         [](TestRelease &r) {
             r.Delegate("team", "root", 7, {"team/*"});
             r.Publish();
         },
         "team/y", ReleaseFault::Malformed, "team.json delegates to a role named \"root\", which is reserved"},
        {"no hash that can be checked",
         [](TestRelease &r) {
             Json::Value &hashes = r.content["team"]["targets"]["team/x"]["hashes"];
             hashes["blake9"] = hashes["sha256"];
             hashes.removeMember("sha256");
             r.Publish();
         },
         "team/x", ReleaseFault::Mismatch, "the release lists no hash of \"team/x\" that this program knows"},
        {"a chain of roles without end",
         [](TestRelease &r) {
             std::string last = "team";
             for (unsigned i = 0; i < 80; ++i) {
                 const std::string next = "team" + std::to_string(i);
                 r.Delegate(last, next, 7, {"team/*"});
                 last = next;
             }
             r.Publish();
         },
         "team/y", ReleaseFault::NotInRelease, "as far as 64 roles tell"},
    };
    for (const auto &attack : attacks) {
        SCOPED_TRACE(attack.name);
        TempDir folder;
        TestRelease release = m_release;
        attack.tried(release);
        ASSERT_TRUE(ReleaseClient::Pin(folder.path(), release.files.at("1.root.json")));
        ReleaseClient client(folder.path(), release);
        ASSERT_TRUE(client.Refresh(kNow));
        const base::Result<ReleaseTarget> found = client.Find(attack.target);
        ASSERT_FALSE(found);
        EXPECT_EQ(FaultOf(found.error()), attack.fault) << found.error().text;
        EXPECT_THAT(found.error().text, HasSubstr(attack.sentence));
        EXPECT_EQ(ReadFile(folder.path() / "root.json"), release.files.at("1.root.json"));
        EXPECT_TRUE(client.Find("lummac.ini")) << "what other roles say is not touched";
    }
}

} // namespace
} // namespace delivery
