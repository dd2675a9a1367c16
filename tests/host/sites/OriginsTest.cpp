// The sites that the user allowed.
#include "host/sites/Origins.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/support/TempDir.h"

using lumhost::Origins;
using lumhost::ReadOrigin;
using testing::ElementsAre;
using testing::IsEmpty;

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

    EXPECT_THAT(Origins(file).all(), ElementsAre("https://a.example", "https://b.example"));
    EXPECT_TRUE(origins.Forbid("https://a.example"));
    EXPECT_TRUE(origins.Forbid("https://never.example"));
    EXPECT_THAT(Origins(file).all(), ElementsAre("https://b.example"));
}

TEST(Origins, FilesOfOthersHands) {
    const TempDir place;
    const std::string file = place.Write("allowed", "# sites\n\nhttps://z.example/\r\nnonsense\nhttps://a.example");
    EXPECT_THAT(Origins(file).all(), ElementsAre("https://a.example", "https://z.example"));
    std::string error;
    Origins nowhere(place.Write("file", "") + "/allowed");
    EXPECT_FALSE(nowhere.Allow("https://a.example", &error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(nowhere.IsAllowed("https://a.example")) << "what could not be written is not allowed";
}

} // namespace
