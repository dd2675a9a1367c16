// What a container can see of the bundle's code.
#include <gmock/gmock.h>
#include <stdio.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> ExportedNames() {
    FILE *output = popen(LUM_NM " -D --defined-only --format=posix '" LUM_BUNDLE_CODE "'", "r");
    std::vector<std::string> names;
    char name[1024];
    while (fscanf(output, "%1023s%*[^\n]", name) == 1) {
        names.emplace_back(name);
    }
    EXPECT_EQ(pclose(output), 0);
    return names;
}

} // namespace

TEST(House, BundleExportsTheEntryPointsOnly) {
    EXPECT_THAT(ExportedNames(), testing::UnorderedElementsAre("LumInitInstance", "LumHandleEvent", "LumSetWindow",
                                                               "LumActionNotify", "LumHeartbeat", "LumExitInstance"));
}
