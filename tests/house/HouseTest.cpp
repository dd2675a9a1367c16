// The house: which folder may include what. A folder that is missing from the table may not hold sources.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

#include "tests/house/SourceFile.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const fs::path kRoot = LUM_SOURCE_FOLDER;
constexpr std::ptrdiff_t kMaximumLines = 450;

struct Room {
    std::string folder;
    std::vector<std::string> mayInclude; // folders (with "/") and single headers, besides its own
};

const std::vector<Room> kRooms = {
    {"base/", {}},
    {"lum/lumext/", {"lum/", "base/", "fuzzywindow/LumFuzzyWindow.h"}},
    {"lum/launcher/", {"lum/common/", "lum/platform/", "base/", "lum/lumext/TraceLines.h"}},
    {"lum/ui/", {"lum/common/", "lum/platform/", "base/"}},
    {"lum/security/", {"lum/platform/", "base/"}},
    {"lum/common/", {"lum/platform/", "lum/security/", "base/"}},
    {"lum/platform/", {"base/"}},
    {"fuzzywindow/", {"base/"}},
    {"delivery/", {"base/"}},
    {"host/", {"delivery/", "base/", "lum/lumext/lumextInterface.h", "lum/lumext/TraceLines.h", "theme/UseTheme.h"}},
    {"site/", {"delivery/", "base/", "lum/security/", "lum/common/"}},
    {"demo/", {"theme/UseTheme.h"}},
    {"theme/", {"lum/platform/Session.h", "base/"}},
};

// Names that a condition outside the platform's folder may ask for: the language, and this project's own.
bool IsNoSystem(const std::string &name) {
    return name == "__OBJC__" || name == "__cplusplus" || name.starts_with("LUM_");
}

// The folders of this project; a header elsewhere is the system's or another library's.
bool IsOfTheHouse(const std::string &path) {
    static const std::vector<std::string> folders = {"base/", "lum/",   "fuzzywindow/", "delivery/", "host/",  "site/",
                                                     "demo/", "theme/", "tests/",       "stress/",   "bench/", "fuzz/"};
    return std::any_of(folders.begin(), folders.end(), [&](const std::string &f) { return path.starts_with(f); });
}

// Where in the project the included header lies, as the compiler finds it; empty when it is none of the project's.
std::string Resolve(const fs::path &source, const Inclusion &inclusion) {
    std::string beside = (source.parent_path() / inclusion.header).lexically_normal();
    if (inclusion.quoted && fs::exists(kRoot / beside)) {
        return beside;
    }
    const fs::path seam = fs::path("lum/platform/linux/include") / inclusion.header;
    if (fs::exists(kRoot / seam)) {
        return seam; // a system header of the target that the platform's folder supplies
    }
    const std::string fromRoot = fs::path(inclusion.header).lexically_normal();
    return IsOfTheHouse(fromRoot) ? fromRoot : "";
}

bool MayInclude(const fs::path &source, const Inclusion &inclusion) {
    const std::string header = Resolve(source, inclusion);
    if (header.empty()) {
        return true;
    }
    const auto room = std::find_if(kRooms.begin(), kRooms.end(),
                                   [&](const Room &r) { return source.string().starts_with(r.folder); });
    if (room == kRooms.end()) {
        return false;
    }
    return header.starts_with(room->folder) ||
           std::any_of(room->mayInclude.begin(), room->mayInclude.end(), [&](const std::string &allowed) {
               return allowed.ends_with('/') ? header.starts_with(allowed) : header == allowed;
           });
}

std::vector<fs::path> AllSources() {
    std::vector<fs::path> sources;
    for (const char *folder : {"base", "lum", "fuzzywindow", "delivery", "host", "site", "demo", "theme"}) {
        const auto found = SourcesBelow(kRoot, folder);
        sources.insert(sources.end(), found.begin(), found.end());
    }
    return sources;
}

bool IsPlatform(const fs::path &source) {
    return source.string().starts_with("lum/platform/");
}

} // namespace

TEST(House, DirectivesAreFound) {
    const std::string text = "#include \"lum/a.h\"\n  #  import <Carbon/Carbon.h> // why\n#include\\\n \"b.h\"\n"
                             "int include = 1; // #include \"c.h\"\n"
                             "#if defined(__linux__) && \\\n    X > 1\n#else\n#endif\n#ifdef A\n# elif B\n#ifndef C\n";
    std::vector<std::string> headers;
    for (const Inclusion &inclusion : InclusionsIn(text)) {
        headers.push_back((inclusion.quoted ? "q " : "a ") + inclusion.header);
    }
    EXPECT_THAT(headers, ElementsAre("q lum/a.h", "a Carbon/Carbon.h", "q b.h"));
    std::vector<std::string> names;
    for (const std::string &condition : ConditionsIn(text)) {
        const auto found = NamesIn(condition);
        names.insert(names.end(), found.begin(), found.end());
    }
    EXPECT_THAT(names, ElementsAre("__linux__", "X", "A", "B", "C"));
}

TEST(House, RulesTellGoodFromBad) {
    struct {
        const char *source;
        Inclusion inclusion;
        bool allowed;
    } const cases[] = {
        {"lum/lumext/x.mm", {"lum/ui/CDownloadWindow.h", true}, true},
        {"lum/lumext/x.mm", {"host/x.h", true}, false},
        {"lum/launcher/x.mm", {"lum/lumext/TraceLines.h", true}, true},
        {"lum/launcher/x.mm", {"lum/lumext/lumext.h", true}, false},
        {"lum/launcher/x.mm", {"lum/security/CryptoWrapper.h", true}, false},
        {"lum/common/x.mm", {"Carbon/Carbon.h", false}, true},
        {"lum/common/x.mm", {"lum/common/../lumext/lumext.h", true}, false},
        {"lum/common/x.mm", {"../lumext/lumext.h", true}, false},
        {"lum/ui/x.mm", {"lum/lumext/lumext.h", true}, false},
        {"lum/security/x.mm", {"lum/common/lumutil.h", true}, false},
        {"lum/security/x.mm", {"openssl/sha.h", false}, true},
        {"lum/platform/x.mm", {"lum/common/lumutil.h", true}, false},
        {"lum/platform/linux/x.mm", {"lum/platform/Session.h", true}, true},
        {"lum/newlayer/x.mm", {"lum/common/lumutil.h", true}, false},
        {"fuzzywindow/x.mm", {"lum/platform/Session.h", true}, false},
        {"fuzzywindow/x.mm", {"Carbon/Carbon.h", false}, false},
        {"fuzzywindow/x.mm", {"LumFuzzyWindow.h", true}, true},
        {"host/x.cpp", {"lum/lumext/lumextInterface.h", true}, true},
        {"host/x.cpp", {"lum/lumext/lumext.h", true}, false},
        {"demo/x.m", {"lum/lumext/lumextInterface.h", true}, false},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(MayInclude(c.source, c.inclusion), c.allowed) << c.source << " including " << c.inclusion.header;
    }
}

TEST(House, EveryFolderIncludesWhatItMay) {
    const auto sources = AllSources();
    ASSERT_GT(sources.size(), 50U) << "looking in the wrong place: " << kRoot;
    for (const fs::path &source : sources) {
        for (const Inclusion &inclusion : InclusionsIn(ReadFile(kRoot / source))) {
            EXPECT_TRUE(MayInclude(source, inclusion)) << source << " may not include " << inclusion.header;
        }
    }
}

TEST(House, SystemIsChosenByTheBuildFile) {
    for (const fs::path &source : SourcesBelow(kRoot, "lum")) {
        if (IsPlatform(source)) {
            continue;
        }
        for (const std::string &condition : ConditionsIn(ReadFile(kRoot / source))) {
            for (const std::string &name : NamesIn(condition)) {
                EXPECT_TRUE(IsNoSystem(name)) << source << " depends on " << name;
            }
        }
    }
}

TEST(House, SourcesAreShort) {
    std::vector<std::string> longOnes;
    for (const fs::path &source : SourcesBelow(kRoot, "lum")) {
        const std::string text = ReadFile(kRoot / source);
        if (std::count(text.begin(), text.end(), '\n') > kMaximumLines) {
            longOnes.push_back(source);
        }
    }
    EXPECT_THAT(longOnes, IsEmpty());
}
