// A signed release through its life: published, renewed, rotated, pruned, attacked.
#include "tests/site/release/SignedSite.h"

#include <unistd.h>

#include "site/release/MetadataText.h"
#include "site/release/PublishedRelease.h"
#include "site/release/ReleaseKeys.h"
#include "site/release/Renewal.h"

namespace fs = std::filesystem;
using namespace lumsite;
using namespace std::chrono_literals;
using delivery::MetadataType;
using std::chrono::days;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::set<MetadataType> kAll = {MetadataType::Root, MetadataType::Targets, MetadataType::Snapshot,
                                     MetadataType::Timestamp};

std::uint64_t VersionOf(const DemoSite &demo, MetadataType type) {
    const PublishedRelease release = ReadPublishedRelease(demo.site()).value();
    return type == MetadataType::Targets    ? release.targets->file.head.version
           : type == MetadataType::Snapshot ? release.snapshot->file.head.version
                                            : release.timestamp->file.head.version;
}

// Takes the file away, and brings it back with the object.
class Away {
public:
    explicit Away(const fs::path &file) : m_file(file) {
        fs::rename(m_file, m_file.string() + ".away");
    }
    ~Away() {
        fs::rename(m_file.string() + ".away", m_file);
    }
    Away(const Away &) = delete;
    Away &operator=(const Away &) = delete;

private:
    fs::path m_file;
};

} // namespace

// Whatever is published, and wherever a publish is killed, every visitor finds one whole release.
TEST_F(SignedSite, EveryVisitorFindsAWholeReleaseAtEveryStep) {
    struct Case {
        const char *name;
        std::function<void()> change;
        bool isGentle = true; // for visitors in the middle of it
    };
    const Case cases[] = {
        {"new content", [&] { WriteBundle(demo.place(), "parts/confshell.bundle", "2.1.3.5"); }},
        {"new keys for all but the root",
         [&] {
             Rotate({.roles = {kAll.begin(), std::prev(kAll.end())}});
         }},
        {"new keys for all", [&] { Rotate({.roles = kAll}); }},
        {"two rotations before a publish, and new content",
         [&] {
             Rotate({.roles = {MetadataType::Root}, .only = {"root-4"}});
             Rotate({.roles = {MetadataType::Root}, .newKeys = 5, .threshold = 3, .type = SigningKeyType::Ecdsa});
             WriteBundle(demo.place(), "parts/confshell.bundle", "2.1.3.6");
         }},
        {"the timestamp's key is lost",
         [&] {
             fs::remove_all(Keys() / "online");
             Rotate({.roles = {MetadataType::Timestamp, MetadataType::Snapshot}});
         },
         false},
    };
    for (const Case &each : cases) {
        const fs::path old = NewVisitor();
        EXPECT_EQ(Visit(old), "") << each.name;
        now += 1h;
        each.change();
        int steps = 0;
        Publish([&](const std::string &step) {
            ++steps;
            for (const bool isOld : {true, false}) {
                const fs::path visitor = NewVisitor();
                if (isOld) {
                    fs::copy(old, visitor, fs::copy_options::overwrite_existing | fs::copy_options::recursive);
                }
                const std::string refusal = each.isGentle ? Visit(visitor) : "";
                EXPECT_EQ(refusal, "") << each.name << " before " << step << (isOld ? " old" : " fresh");
            }
        });
        EXPECT_GT(steps, 5) << each.name;
        EXPECT_EQ(Visit(old), "") << each.name;
        EXPECT_EQ(Check(old), "") << each.name;
    }
    EXPECT_EQ(ReadFile(Release() / "root.json"), ReadFile(Keys() / "6.root.json"));
}

TEST_F(SignedSite, WhatDoesNotChangeStays) {
    const auto before = Tree(demo.site());
    now += 24h;
    Publish();
    EXPECT_EQ(Tree(demo.site()), before);
    now += days(3); // half of the timestamp's time is over
    Publish();
    EXPECT_EQ(VersionOf(demo, MetadataType::Targets), VersionOf(demo, MetadataType::Snapshot));
    EXPECT_GT(VersionOf(demo, MetadataType::Timestamp), VersionOf(demo, MetadataType::Snapshot));
    EXPECT_EQ(Tree(demo.site()).size(), before.size());
}

// A timer needs two keys and nothing else, and keeps visitors until somebody has to publish.
TEST_F(SignedSite, RenewedWithTheOnlineKeysAlone) {
    const fs::path online = demo.place().path() / "renewal";
    fs::create_directory(online);
    fs::copy(Keys() / "release.json", online);
    fs::copy(Keys() / "online", online / "online");
    const fs::path visitor = NewVisitor();
    const std::uint64_t snapshot = VersionOf(demo, MetadataType::Snapshot);
    EXPECT_EQ(Visit(visitor), "");
    EXPECT_THAT(Visit(visitor, now + days(8)), HasSubstr("timestamp.json expired"));
    for (int day = 4; day < 180; day += 4) {
        now += days(4);
        const base::Result<RenewResult> renewed = RenewRelease(online, demo.site(), now);
        ASSERT_EQ(ErrorOf(renewed), "") << day;
        EXPECT_EQ(TextOf(renewed->findings).empty(), day <= 120) << day;
        EXPECT_EQ(VersionOf(demo, MetadataType::Snapshot) == snapshot, day < 7) << day;
    }
    EXPECT_EQ(Visit(visitor), "");
    now += days(5);
    EXPECT_THAT(ErrorOf(RenewRelease(online, demo.site(), now)), HasSubstr("targets.json expired on"));
    const Away key(online / "online/timestamp-1.key");
    EXPECT_THAT(ErrorOf(RenewRelease(online, demo.site(), now)),
                HasSubstr("timestamp.json cannot be signed: timestamp-1: cannot read"));
    Publish();
    EXPECT_EQ(Visit(visitor), "");
    // A clock that is behind does not lead back.
    const std::uint64_t version = VersionOf(demo, MetadataType::Timestamp);
    ASSERT_EQ(ErrorOf(RenewRelease(Keys(), demo.site(), now - 24h)), "");
    EXPECT_EQ(VersionOf(demo, MetadataType::Timestamp), version + 1);
}

// The holders of the root keys need not meet.
TEST_F(SignedSite, ARootWaitsForTheKeysThatAreElsewhere) {
    base::Result<CeremonyResult> result = CeremonyResult();
    {
        const Away first(Keys() / "offline/root-1.key");
        const Away third(Keys() / "offline/root-3.key");
        result = RotateKeys(Keys(), {.roles = {MetadataType::Root}, .only = {"root-2"}}, now);
        ASSERT_EQ(ErrorOf(result), "");
        EXPECT_FALSE(result->isComplete);
        EXPECT_THAT(result->missing, testing::ElementsAre(HasSubstr("root-1: cannot read"), HasSubstr("root-3")));
        EXPECT_THAT(result->content[1], testing::EndsWith("root: root-1 root-3 root-4 (2 must sign)"));
        EXPECT_THAT(ErrorOf(RotateKeys(Keys(), {}, now)), HasSubstr("is waiting for signatures"));
        const std::string before = ReadFile(Release() / "root.json");
        Publish(); // goes on with the root that there is
        EXPECT_EQ(ReadFile(Release() / "root.json"), before);
    }
    const fs::path elsewhere = demo.place().path() / "elsewhere"; // the holder of root-1
    fs::create_directory(elsewhere);
    for (const char *file : {"release.json", "1.root.json", "next.root.json"}) {
        fs::copy(Keys() / file, elsewhere);
    }
    fs::create_directory(elsewhere / "offline");
    fs::copy(Keys() / "offline/root-1.key", elsewhere / "offline");
    result = SignRoot(elsewhere);
    ASSERT_EQ(ErrorOf(result), "");
    EXPECT_TRUE(result->isComplete) << result->lacking; // root-1 and root-2 of the old, root-1 and root-4 of the new
    fs::copy(elsewhere / "2.root.json", Keys());
    EXPECT_THAT(ErrorOf(SignRoot(Keys())), HasSubstr("no root is waiting")); // and its file is gone
    const fs::path visitor = NewVisitor();
    Publish();
    EXPECT_EQ(Visit(visitor), "");
}

TEST_F(SignedSite, NothingIsPublishedThatVisitorsWouldRefuse) {
    const fs::path other = demo.place().path() / "other";
    ASSERT_EQ(ErrorOf(MakeReleaseKeys(other, {}, now)), "");
    const std::string description = ReadFile(Keys() / "release.json");
    struct Case {
        std::function<void()> change;
        const char *says;
    };
    const Case cases[] = {
        {[&] { demo.manifest().release->keys = other; }, "1.root.json is not the root 1 of"},
        {[&] { demo.manifest().release->keys = "/nowhere"; }, "lumsite init /nowhere --release"},
        {[&] { demo.manifest().release.reset(); }, "visitors who trust its root accept nothing else"},
        {[&] { demo.manifest().release->keys = demo.site() / "keys"; }, "where no visitor can download them"},
        {[&] { now += days(400); }, "root.json expired on"},
        {[&] { fs::permissions(Keys() / "targets-1.key", fs::perms::group_read, fs::perm_options::add); },
         "targets.json cannot be signed: targets-1: other users can access"},
        {[&] {
             fs::copy_file(other / "targets-1.key", Keys() / "targets-1.key", fs::copy_options::overwrite_existing);
         },
         "targets-1.key is another key than the one in release.json"},
        {[&] { demo.place().Write("release-keys/release.json", "{}"); }, "\"days\" is missing"},
        {[&] { demo.place().Write("release-keys/1.root.json", ReadFile(other / "1.root.json")); },
         "1.root.json is not the root 1 of"},
    };
    const auto site = Tree(demo.site());
    const delivery::ReleaseTime start = now;
    const std::string root = ReadFile(Keys() / "1.root.json");
    const std::string key = ReadFile(Keys() / "targets-1.key");
    for (const Case &each : cases) {
        demo.manifest().components[2].failure = "ignore"; // so that there is something to publish
        each.change();
        PublishOptions options;
        options.now = now;
        EXPECT_THAT(ErrorOf(demo.TryPublish(options)), HasSubstr(each.says));
        EXPECT_EQ(Tree(demo.site()), site) << each.says;
        now = start;
        demo.manifest().release = ManifestRelease{"site.json:1", Keys(), {}};
        demo.place().Write("release-keys/release.json", description);
        demo.place().Write("release-keys/1.root.json", root);
        demo.place().Write("release-keys/targets-1.key", key);
        fs::permissions(Keys() / "targets-1.key", fs::perms::owner_read | fs::perms::owner_write);
    }
    const fs::path visitor = NewVisitor();
    Publish();
    EXPECT_EQ(Visit(visitor), "");
}

// A visitor may be at work with anything that a snapshot lists which has not expired.
TEST_F(SignedSite, WhatASnapshotNeedsStaysUntilItExpires) {
    const auto count = [&](const char *suffix) {
        const auto tree = Tree(Release());
        return std::ranges::count_if(tree, [&](const auto &file) { return file.first.ends_with(suffix); });
    };
    demo.place().Write("parts/libklv.dylib", "newer library\n");
    PublishOptions options;
    options.pruneAfterHours = kKeepHours;
    options.sameVersion = true;
    for (const auto &[later, files] : {std::pair(days(1), 2), {days(9), 2}, {days(5), 1}}) {
        options.now = now += later;
        demo.Publish(options);
        EXPECT_EQ(count(".lummac.ini"), files);
        EXPECT_EQ(count("targets.json"), files);
    }
    EXPECT_EQ(count("root.json"), 2);
    EXPECT_EQ(Visit(NewVisitor()), "");
}

// A saved instruction file is used for a day, and its packages come from the release.
TEST_F(SignedSite, APackageStaysInTheReleaseForVisitorsWithAnEarlierInstructionFile) {
    const fs::path before = demo.site() / demo.PackageOf("libklv.dylib");
    const auto isListed = [&] {
        const PublishedRelease release = ReadPublishedRelease(demo.site()).value();
        return release.targets->content.targets.contains(before.lexically_relative(demo.site()));
    };
    demo.place().Write("parts/libklv.dylib", "newer library\n");
    Publish();
    EXPECT_TRUE(isListed());
    Publish();
    EXPECT_TRUE(isListed());
    fs::last_write_time(before, fs::file_time_type::clock::now() - days(3));
    Publish();
    EXPECT_FALSE(isListed());
    EXPECT_EQ(Visit(NewVisitor()), "");
}

// Each attack on a release that check can meet, and by which visitor it is found.
TEST_F(SignedSite, CheckFindsEachAttack) {
    const fs::path old = NewVisitor();
    fs::copy(demo.site(), demo.place() / "first", fs::copy_options::recursive);
    now += 1h;
    WriteBundle(demo.place(), "parts/confshell.bundle", "2.1.3.5");
    Rotate({.roles = {MetadataType::Root, MetadataType::Timestamp}});
    Publish();
    ASSERT_EQ(Visit(old), "");
    ASSERT_EQ(Check(old), "");
    fs::copy(demo.site(), demo.place() / "good", fs::copy_options::recursive);
    fs::copy(old, demo.place() / "good-visitor", fs::copy_options::recursive);

    const auto name = [&](MetadataType type) {
        return delivery::NameOf(type) == std::string("timestamp")
                   ? std::string("timestamp.json")
                   : std::to_string(VersionOf(demo, type)) + "." + delivery::NameOf(type) + ".json";
    };
    const auto replay = [&](const std::string &file) {
        fs::copy_file(demo.place() / "first/release/" + file, Release() / file, fs::copy_options::overwrite_existing);
    };
    const auto forge = [&](const std::string &file, const std::string &before, const std::string &after) {
        std::string text = ReadFile(Release() / file);
        demo.place().Write("site/release/" + file, text.replace(text.find(before), before.size(), after));
    };
    struct Case {
        const char *name;
        std::function<void()> attack;
        const char *says;
    };
    const Case cases[] = {
        {"rollback: the timestamp of before", [&] { replay("timestamp.json"); }, "timestamp.json is not signed by"},
        {"rollback: all files of before, root included",
         [&] {
             fs::remove_all(Release());
             fs::copy(demo.place() / "first/release", Release(), fs::copy_options::recursive);
         },
         "visitor-1 is refused: timestamp.json is not signed by"},
        {"freeze: nothing is renewed", [&] { now += days(8); }, "timestamp.json expired on"},
        {"about to expire: timestamp", [&] { now += days(6); }, "warning: release/timestamp.json: expires on"},
        {"about to expire: targets", [&] { now += days(160); }, "expired on"},
        {"forged content", [&] { forge(name(MetadataType::Targets), "\"length\": ", "\"length\": 1"); },
         "targets.json is not signed by 1 of the 1 keys"},
        {"a forged version", [&] { forge("timestamp.json", "\"version\": 2", "\"version\": 3"); },
         "timestamp.json is not signed by"},
        {"no signature", [&] { forge("timestamp.json", "\"keyid\": \"", "\"keyid\": \"0"); }, "is not signed by"},
        {"mix and match: a snapshot that is away", [&] { fs::remove(Release() / name(MetadataType::Snapshot)); },
         "snapshot.json cannot be fetched"},
        {"mix and match: lummac.ini of before",
         [&] {
             fs::copy_file(demo.place() / "first/lummac.ini", demo.site() / "lummac.ini",
                           fs::copy_options::overwrite_existing);
         },
         "lummac.ini: is not the one of the signed release"},
        {"endless data", [&] { fs::resize_file(Release() / "timestamp.json", 20'000'000); }, "is refused: "},
        {"a root of other keys",
         [&] {
             const fs::path other = demo.place().path() / "other";
             ASSERT_EQ(ErrorOf(MakeReleaseKeys(other, {}, now)), "");
             for (const char *file : {"1.root.json", "2.root.json", "root.json"}) {
                 demo.place().Write("site/release/" + std::string(file), ReadFile(other / "1.root.json"));
             }
         },
         "a visitor who comes for the first time is refused"},
        {"the chain of roots is broken", [&] { demo.place().Write("site/release/2.root.json", "{}"); },
         "a visitor who has the first root is refused"},
        {"no root to start from", [&] { fs::remove(Release() / "root.json"); }, "root.json cannot be fetched"},
        {"the whole release is away", [&] { fs::remove_all(Release()); }, "root.json cannot be fetched"},
        {"wrong software: a target of another content",
         [&] {
             for (const auto &[file, bytes] : Tree(Release() / "targets/packages")) {
                 demo.place().Write("site/release/targets/packages/" + file, "other");
             }
         },
         "is not the file that was signed"},
        {"a target is away", [&] { fs::remove_all(Release() / "targets/packages"); }, "cannot be fetched"},
        {"a package that is not in the release",
         [&] {
             std::string text = demo.Instructions();
             demo.place().Write("site/lummac.ini", text.replace(text.find("packages/conf"), 13, "packages/c0nf"));
         },
         "is not in the release of the site"},
    };
    const delivery::ReleaseTime start = now;
    for (const Case &each : cases) {
        each.attack();
        EXPECT_THAT(Check(old), HasSubstr(each.says)) << each.name;
        now = start;
        for (const auto &[good, place] : {std::pair("good", demo.site()), {"good-visitor", old}}) {
            fs::remove_all(place);
            fs::copy(demo.place() / good, place, fs::copy_options::recursive);
        }
    }
    EXPECT_EQ(Check(old), "");
}
