// The names of versioned libraries, as the two steps cut them.
#include <gtest/gtest.h>

#include "lum/lumext/LibraryName.h"

TEST(LibraryName, StepsCutTheStemDifferently) {
    const struct {
        const char *item;
        const char *link;
        const char *real;
        const char *lookedFor;
        const char *prefix;
    } cases[] = {
        {"libfoo.dylib", "libfoo.dylib", "libfoo-2.1.dylib", "libfoo-2.1.dylib", "libfoo"},
        {"libfoo.1.dylib", "libfoo.dylib", "libfoo-2.1.dylib", "libfoo.1-2.1.dylib", "libfoo"},
        {"lib-a.b.dylib", "lib-a.dylib", "lib-a-2.1.dylib", "lib-a.b-2.1.dylib", "lib"},
        {"tool", "tool.dylib", "tool-2.1.dylib", "tool-2.1.dylib", "tool"},
        {"x.dylibs", "x.dylibs", "x-2.1.dylibs", "x-2.1.dylib", "x"},
    };
    for (const auto &test : cases) {
        const LibraryNames installed = NamesOfInstalledLibrary(test.item, "2,1");
        EXPECT_EQ(installed.link, test.link);
        EXPECT_EQ(installed.real, test.real);
        EXPECT_EQ(NameOfLibraryLookedFor(test.item, "2,1"), test.lookedFor);
        EXPECT_EQ(FamilyOfLibrary(test.item).prefix, test.prefix);
        EXPECT_TRUE(IsInstalledAsLibrary(test.item)) << test.item;
    }
    EXPECT_FALSE(IsInstalledAsLibrary("dylib.bundle"));
    EXPECT_TRUE(IsLookedForAsLibrary("/a.dylib.d/part.bundle")) << "the folder's name counts too";
}
