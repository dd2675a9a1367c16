// What a container can see of the bundle's code.
#include <gmock/gmock.h>

#include <sstream>

#include "tests/support/ChildProcess.h"

namespace {

std::vector<std::string> ExportedNames() {
    std::istringstream lines(OutputOf(LUM_NM " -D --defined-only --format=posix '" LUM_BUNDLE_CODE "'"));
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        names.push_back(line.substr(0, line.find(' ')));
    }
    return names;
}

} // namespace

TEST(House, BundleExportsTheEntryPointsOnly) {
    EXPECT_THAT(ExportedNames(), testing::UnorderedElementsAre("LumInitInstance", "LumHandleEvent", "LumSetWindow",
                                                               "LumActionNotify", "LumHeartbeat", "LumExitInstance"));
}
