#include "base/UserFolders.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

using namespace base;

TEST(UserFolders, FollowHomeAndTheStandardsVariables) {
    setenv("HOME", "/h", 1);
    EXPECT_EQ(ConfigFolder(), "/h/.config");
    EXPECT_EQ(DataFolder(), "/h/.local/share");
    EXPECT_EQ(StateFolder(), "/h/.local/state");
    EXPECT_EQ(CacheFolder(), "/h/.cache");
    const struct {
        const char *name;
        std::filesystem::path (*folder)();
    } variables[] = {{"XDG_CONFIG_HOME", ConfigFolder},
                     {"XDG_DATA_HOME", DataFolder},
                     {"XDG_STATE_HOME", StateFolder},
                     {"XDG_CACHE_HOME", CacheFolder},
                     {"TMPDIR", TemporaryFolder}};
    for (const auto &variable : variables) {
        unsetenv(variable.name);
        const std::filesystem::path usual = variable.folder();
        for (const char *ignored : {"", "relative", "./x", "~/x"}) {
            setenv(variable.name, ignored, 1);
            EXPECT_EQ(variable.folder(), usual) << variable.name << ignored;
        }
        setenv(variable.name, "/own place", 1);
        EXPECT_EQ(variable.folder(), "/own place") << variable.name;
    }
    EXPECT_EQ(MovedToHome("/database/me/Library/x", "/database/me"), "/h/Library/x");
    EXPECT_EQ(MovedToHome("/database/me2/x", "/database/me"), "/database/me2/x");
    EXPECT_EQ(MovedToHome("/etc", "/database/me"), "/etc");
    for (const bool isSet : {true, false}) {
        isSet ? setenv("HOME", "", 1) : unsetenv("HOME");
        EXPECT_EQ(HomeFolder(), getpwuid(geteuid())->pw_dir);
    }
}
