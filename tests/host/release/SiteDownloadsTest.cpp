// The roots that sites are pinned to, by whom, and what a first visit over https does.
#include "host/release/SiteDownloads.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "delivery/release/ReleaseFault.h"
#include "host/release/Refusal.h"
#include "tests/host/release/ServedRelease.h"

namespace fs = std::filesystem;
using namespace lumhost;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr char kSite[] = "https://meet.example:8443";

TEST(Pins, AdministratorsGoFirstAndOnlyWhenNobodyElseCanWrite) {
    const TempDir folder;
    const TestRelease mine;
    TestRelease theirs;
    theirs.content["root"]["note"] = "theirs";
    theirs.Serve("root");
    const Pins pins(folder.path() / "pins", folder.path() / "etc", getuid());
    EXPECT_FALSE(*pins.Find(kSite));
    ASSERT_TRUE(pins.Add(kSite, mine.Served("root"), false));
    EXPECT_EQ(Pin::Source::User, (*pins.Find(kSite))->source);

    const fs::path saved = (*pins.Find(kSite))->folder / "root.json";
    fs::remove(saved);
    EXPECT_TRUE(*pins.Find(kSite)) << "a lost root does not make unsigned files acceptable";
    ASSERT_TRUE(pins.Add(kSite, mine.Served("root"), false));
    EXPECT_EQ(mine.Served("root"), ReadFile(saved));

    const std::string file = folder.Write("etc/meet.example:8443.json", theirs.Served("root"));
    EXPECT_EQ(Pin::Source::Administrator, (*pins.Find(kSite))->source);
    EXPECT_EQ(theirs.Served("root"), ReadFile((*pins.Find(kSite))->folder / "root.json"));
    for (const bool replace : {false, true}) {
        EXPECT_THAT(pins.Add(kSite, mine.Served("root"), replace).error().text, HasSubstr("only the administrator"));
    }
    chmod(file.c_str(), 0666);
    EXPECT_THAT(pins.Find(kSite).error().text, HasSubstr("is not used"));
    chmod(file.c_str(), 0644);
    EXPECT_FALSE(Pins(folder.path() / "pins", folder.path() / "etc", getuid() + 1).Find(kSite));
    folder.Write("etc/meet.example:8443.json", "{}");
    EXPECT_THAT(pins.Find(kSite).error().text, HasSubstr("tell the administrator"));
    EXPECT_THAT(pins.All(), IsEmpty());
}

TEST(Refusal, BlamesTheClockWhenSeveralSignsAgree) {
    const base::Error expired{"timestamp.json expired on Monday; renew",
                              static_cast<int>(delivery::ReleaseFault::Expired)};
    const delivery::ReleaseTime now = std::chrono::sys_days(2030y / 1 / 2);
    const std::time_t yesterday = std::chrono::system_clock::to_time_t(now - 24h);
    const struct {
        ClockSigns signs;
        bool blamed;
    } cases[] = {
        {{now, yesterday, false}, true},
        {{now, yesterday, false, yesterday - 86400}, true},
        {{now, yesterday, false, yesterday + 7200}, false}, // a release has been accepted since then
        {{now, yesterday, true}, false},                    // whoever replays an old release can also tell an old time
        {{now, std::nullopt, false}, false},
        {{now, std::chrono::system_clock::to_time_t(now), false}, false},
    };
    for (const auto &test : cases) {
        const testing::Matcher<std::string> blamed =
            AllOf(HasSubstr("it shows 2030-01-02 00:00:00 UTC, the server of the site 2030-01-01"),
                  Not(HasSubstr("operator")));
        const testing::Matcher<std::string> refused =
            AllOf(HasSubstr("is refused: timestamp.json expired"), HasSubstr("operator"));
        EXPECT_THAT(RefusalText(kSite, expired, test.signs), test.blamed ? blamed : refused);
    }
    const base::Error otherKeys{"timestamp.json is not signed", static_cast<int>(delivery::ReleaseFault::NotSigned)};
    EXPECT_THAT(RefusalText(kSite, otherKeys, {}), HasSubstr("--new-root"));
    EXPECT_THAT(RefusalText(kSite, otherKeys, {}, true),
                AllOf(HasSubstr("administrator"), Not(HasSubstr("--new-root"))));
}

// The visits of one user to a site over https.
class FirstVisit : public testing::Test {
protected:
    // What the instruction file was, or why it was refused, and the notices.
    std::string Visit() {
        delivery::TransferSettings settings;
        settings.folder = m_folder.path() / "cache";
        settings.caFile = server.CaFile();
        std::string said;
        bool done = false;
        delivery::Transfers transfers(settings, [] {});
        delivery::Page page;
        page.Set("LumUrlRoot", server.Url("/kit/"));
        SiteDownloads downloads(page, m_pins, m_folder.path(), transfers, [] {},
                                {[&](const std::string &notice) { said += notice; }, [](const std::string &) {}});
        const std::string asked = server.Url("/kit/lummac.ini?random=0");
        downloads.Get(
            asked, base::Url::Parse(asked), [](std::uint32_t) {},
            [&](const delivery::TransferResult &result) {
                done = true;
                said += result.ok ? ReadFile(result.file) : result.error;
            });
        const auto end = std::chrono::steady_clock::now() + 20s;
        while (!done && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(1ms);
            downloads.Deliver();
        }
        return said;
    }

    const TempDir m_folder;
    const Pins m_pins{m_folder.path() / "pins", m_folder.path() / "etc"};
    FaultServer server{FaultServer::Tls::Good};
};

TEST_F(FirstVisit, PinsAGoodReleaseAndSaysSoOnce) {
    const std::string site = server.Url("");
    server.On("/kit/lummac.ini", {{.body = "unsigned"}});
    EXPECT_EQ("unsigned", Visit());
    server.On("/kit/release/root.json", {{.body = "<p>This page does not exist"}, {.body = "{}"}});
    EXPECT_EQ("unsigned", Visit()) << "a server may answer anything with a page";
    EXPECT_EQ("unsigned", Visit());
    EXPECT_FALSE(*m_pins.Find(site));

    TestRelease halfDone;
    server.On("/kit/release/root.json", {{.body = halfDone.Served("root")}});
    EXPECT_THAT(Visit(), HasSubstr("the release of " + site + " is refused: timestamp.json"));
    EXPECT_FALSE(*m_pins.Find(site)) << "nothing was good yet that could be insisted on";

    ServedRelease release(server);
    server.On("/kit/release/root.json", {{.body = release.Served("root")}});
    EXPECT_THAT(Visit(), AllOf(HasSubstr(site + " signs its releases"), HasSubstr("[Kelvo]\n")));
    EXPECT_EQ(Pin::Source::FirstVisit, (*m_pins.Find(site))->source);
    EXPECT_EQ("[Kelvo]\n", Visit());
    std::filesystem::remove_all(release.metadata());
    server.On("/kit/release/root.json", {{.status = 404}});
    EXPECT_THAT(Visit(), HasSubstr("its unsigned files are not accepted"));
}

} // namespace
