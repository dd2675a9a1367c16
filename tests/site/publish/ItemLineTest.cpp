#include "delivery/instructions/ItemLine.h"
#include "site/publish/ItemLine.h"

#include <gtest/gtest.h>

using namespace lumsite;

TEST(ItemLine, IsReadAsItWasWritten) {
    const ItemLine item{"a.bundle", "packages/a", "/opt", "1,2,3,4", 10,     20,    "install",
                        "size",     "reboot",     3,      "ab",      "sha1", "c2ln"};
    EXPECT_EQ(ToText(item), "a.bundle;packages/a;/opt;1,2,3,4;10;20;install;size;reboot;3;ab;sha1;c2ln");
}

TEST(ItemLine, LibrariesAreKeptUnderTheirVersion) {
    EXPECT_EQ(InstalledLibraryName("libklv.dylib", "1,2,3,4"), "libklv-1.2.3.4.dylib");
    EXPECT_EQ(InstalledLibraryName("a.bundle", "1,2,3,4"), "");
}
