// The sites that the user allowed.
#include "host/sites/Origins.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "tests/support/TempDir.h"

using lumhost::Origins;
using lumhost::Reach;
using lumhost::ReadOrigin;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;

namespace {

TEST(Origins, AreReadInOneForm) {
    struct Case {
        const char *text;
        const char *origin; // null: refused
    };
    const Case cases[] = {
        {"https://meet.example", "https://meet.example"},
        {"https://meet.example/", "https://meet.example"},
        {"HTTPS://Meet.Example:443/join?x#y", "https://meet.example"},
        {"http://meet.example:80", "http://meet.example"},
        {"http://meet.example:443", "http://meet.example:443"},
        {"https://meet.example:08443", "https://meet.example:8443"},
        {"http://[::1]:8080/", "http://[::1]:8080"},
        {"https://meet.example.", "https://meet.example."},
        {"meet.example", nullptr},
        {"", nullptr},
        {"https://", nullptr},
        {"https:///path", nullptr},
        {"ftp://meet.example", nullptr},
        {"file:///etc/passwd", nullptr},
        {"javascript://meet.example", nullptr},
        {"https://meet.example:0", nullptr},
        {"https://meet.example:65536", nullptr},
        {"https://meet.example:x", nullptr},
        {"https://meet.example@evil.example", nullptr},
        {"https://meet%2Eexample", nullptr},
        {"https://me\u00e9t.example", "https://xn--met-cma.example"},
        {"https://me\xe9t.example", nullptr},
        {"https://meet .example", nullptr},
        {"https://meet.example\\@evil.example", nullptr},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.text);
        EXPECT_EQ(test.origin ? std::optional<std::string>(test.origin) : std::nullopt, ReadOrigin(test.text));
    }
}

TEST(Origins, AreKeptInTheUsersFile) {
    const TempDir place;
    const std::string file = place / "config/lumhost/allowed";
    Origins origins(file);
    EXPECT_THAT(origins.all(), IsEmpty());
    EXPECT_TRUE(origins.Allow("https://b.example"));
    EXPECT_TRUE(origins.Allow("https://a.example"));
    EXPECT_TRUE(origins.Allow("https://a.example"));
    EXPECT_TRUE(origins.IsAllowed("https://a.example"));
    EXPECT_FALSE(origins.IsAllowed("http://a.example")) << "another scheme is another site";
    EXPECT_FALSE(origins.IsAllowed("https://a.example:8443"));
    struct stat status {};
    ASSERT_EQ(0, stat(file.c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777);

    EXPECT_THAT(Origins(file).all(), ElementsAre(Key("https://a.example"), Key("https://b.example")));
    EXPECT_TRUE(origins.Allow("https://a.example", Reach::Anywhere));
    EXPECT_TRUE(origins.Allow("https://a.example")) << "a question on screen changes nothing else";
    EXPECT_EQ(Reach::Anywhere, Origins(file).ReachOf("https://a.example"));
    EXPECT_EQ(Reach::KelvoFolder, Origins(file).ReachOf("https://b.example"));
    EXPECT_EQ(std::nullopt, Origins(file).ReachOf("https://never.example"));
    EXPECT_TRUE(origins.Allow("https://a.example", Reach::KelvoFolder));
    EXPECT_EQ(Reach::KelvoFolder, Origins(file).ReachOf("https://a.example"));
    EXPECT_TRUE(origins.Forbid("https://a.example"));
    EXPECT_TRUE(origins.Forbid("https://never.example"));
    EXPECT_THAT(Origins(file).all(), ElementsAre(Key("https://b.example")));
}

TEST(Origins, FilesOfOthersHands) {
    const TempDir place;
    const std::string file = place.Write("allowed", "# sites\n\nhttps://z.example/\r\nnonsense\nhttps://a.example");
    EXPECT_THAT(Origins(file).all(), ElementsAre(Key("https://a.example"), Key("https://z.example")));
    Origins nowhere(place.Write("file", "") + "/allowed");
    EXPECT_FALSE(nowhere.Allow("https://a.example"));
    EXPECT_FALSE(nowhere.IsAllowed("https://a.example")) << "what could not be written is not allowed";
}

TEST(Origins, ChangesOfOthersAreKept) {
    const TempDir place;
    const std::string file = place / "allowed";
    Origins early(file); // read before all the others change the list, as a start that asks does
    EXPECT_TRUE(early.Allow("https://forbidden.example"));
    EXPECT_TRUE(Origins(file).Forbid("https://forbidden.example"));
    EXPECT_TRUE(early.Allow("https://asked.example"));
    EXPECT_THAT(Origins(file).all(), ElementsAre(Key("https://asked.example")));
    std::vector<std::thread> users;
    for (int i = 0; i < 20; ++i) {
        users.emplace_back([&, i] { EXPECT_TRUE(Origins(file).Allow("https://" + std::to_string(i) + ".example")); });
    }
    for (std::thread &user : users) {
        user.join();
    }
    EXPECT_EQ(21U, Origins(file).all().size());
}

TEST(Origins, ListThatOthersMayWriteIsNotObeyed) {
    const TempDir place;
    const std::string file = place.Write("allowed", "https://a.example\n");
    for (const mode_t mode : {0620, 0602, 0666}) {
        chmod(file.c_str(), mode);
        Origins origins(file);
        EXPECT_FALSE(origins.IsAllowed("https://a.example"));
        EXPECT_THAT(origins.problem(), testing::HasSubstr("chmod 600 " + file));
        EXPECT_FALSE(origins.Allow("https://b.example"));
    }
    chmod(file.c_str(), 0644);
    EXPECT_TRUE(Origins(file).IsAllowed("https://a.example"));
    if (geteuid() == 0) {
        EXPECT_EQ(0, chown(file.c_str(), 12345, 12345));
        EXPECT_FALSE(Origins(file).IsAllowed("https://a.example"));
    }
}

} // namespace
