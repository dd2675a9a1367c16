// Which folder may include what, by the table in docs/dev/architecture.md, and the picture of it in README.md.
#include "tests/house/Floors.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <set>

#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using testing::ElementsAre;

namespace {

const fs::path kRoot = LUM_SOURCE_FOLDER;

const Floors &TheFloors() {
    static const Floors floors = Floors::Read(ReadFile(kRoot / "docs/dev/architecture.md"));
    return floors;
}

// Names that a condition outside the platform's folder may ask for: the language, and this project's own.
bool IsNotASystem(const std::string &name) {
    return name == "__OBJC__" || name == "__cplusplus" || name.starts_with("LUM_");
}

// Where in the project the included header is, as the compiler finds it; empty when it is not one of the project's.
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
    return TheFloors().IsOfTheProject(fromRoot) ? fromRoot : "";
}

bool MayInclude(const fs::path &source, const Inclusion &inclusion) {
    const std::string header = Resolve(source, inclusion);
    return header.empty() ? TheFloors().RowOf(source) != nullptr : TheFloors().MayInclude(source, header);
}

std::string TopFolder(const std::string &path) {
    return path.substr(0, path.find('/') + 1);
}

} // namespace

TEST(Floors, DirectivesAreFound) {
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

TEST(Floors, RulesTellGoodFromBad) {
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
        {"lum/security/x.mm", {"openssl/sha.h", false}, true},
        {"lum/platform/linux/files/x.mm", {"lum/platform/Session.h", true}, true},
        {"lum/common/x.mm", {"lum/platform/linux/windows/FrontWindow.h", true}, false},
        {"lum/newlayer/x.mm", {"string", false}, false},
        {"newfolder/x.cpp", {"string", false}, false},
        {"fuzzywindow/x.mm", {"Carbon/Carbon.h", false}, false},
        {"fuzzywindow/x.mm", {"LumFuzzyWindow.h", true}, true},
        {"delivery/page/x.cpp", {"delivery/transfer/Transfers.h", true}, false},
        {"delivery/x.cpp", {"string", false}, false},
        {"host/run/x.cpp", {"delivery/transfer/Transfers.h", true}, true},
        {"host/run/x.cpp", {"host/Folders.h", true}, true},
        {"host/run/x.cpp", {"host/verbs/x.h", true}, false},
        {"host/x.cpp", {"host/run/x.h", true}, false},
        {"host/run/x.cpp", {"lum/lumext/lumext.h", true}, false},
        {"stress/x.cpp", {"tests/support/TempDir.h", true}, true},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(MayInclude(c.source, c.inclusion), c.allowed) << c.source << " including " << c.inclusion.header;
    }
}

TEST(Floors, EveryFolderIncludesWhatItMay) {
    const auto sources = SourcesBelow(kRoot);
    ASSERT_GT(sources.size(), 300U) << "looking in the wrong place: " << kRoot;
    for (const fs::path &source : sources) {
        if (!TheFloors().RowOf(source)) {
            ADD_FAILURE() << source << " is in a folder without a row in docs/dev/architecture.md";
            continue;
        }
        for (const Inclusion &inclusion : InclusionsIn(ReadFile(kRoot / source))) {
            EXPECT_TRUE(MayInclude(source, inclusion)) << source << " may not include " << inclusion.header;
        }
    }
}

// A row names rows above it only, but for one header of texts; docs/dev/architecture.md says why.
TEST(Floors, ArrowsPointDown) {
    const std::vector<Floor> &rows = TheFloors().rows();
    std::vector<std::string> up;
    for (auto row = rows.begin(); row != rows.end(); ++row) {
        for (auto higher = row + 1; higher != rows.end() && !row->everything; ++higher) {
            EXPECT_FALSE(TheFloors().MayInclude(row->folder + "any.cpp", higher->folder + "any.h"))
                << row->folder << " names " << higher->folder << ", which is on a higher floor";
            for (const std::string &target : row->below) {
                EXPECT_NE(TheFloors().RowOf(target), &*higher) << row->folder << " names " << target;
            }
        }
        for (const std::string &header : row->above) {
            up.push_back(row->folder + " " + header);
        }
    }
    EXPECT_THAT(up, ElementsAre("lum/launcher/ lum/lumext/TraceLines.h"));
}

TEST(Floors, PictureShowsTheTable) {
    std::map<std::string, std::size_t> depth; // top folder -> line of the picture, the top one first
    const auto picture = FloorsInPicture(ReadFile(kRoot / "README.md"), "## The floors");
    for (std::size_t line = 0; line < picture.size(); ++line) {
        for (const std::string &folder : picture[line]) {
            EXPECT_TRUE(depth.emplace(folder, line).second) << folder << " is in the picture twice";
        }
    }
    std::set<std::string> rows;
    for (const Floor &row : TheFloors().rows()) {
        const std::string top = TopFolder(row.folder);
        rows.insert(top);
        EXPECT_TRUE(depth.contains(top)) << top << " is missing from the picture in README.md";
        for (const std::string &target : row.below) {
            EXPECT_TRUE(TopFolder(target) == top || depth[TopFolder(target)] > depth[top])
                << top << " includes " << target << ", but the picture does not show it below";
        }
    }
    for (const auto &[folder, line] : depth) {
        EXPECT_TRUE(rows.contains(folder)) << folder << " has no row in docs/dev/architecture.md";
    }
}

TEST(Floors, SystemIsChosenByTheBuildFile) {
    for (const fs::path &source : SourcesBelow(kRoot)) {
        if (!source.string().starts_with("lum/") || source.string().starts_with("lum/platform/")) {
            continue;
        }
        for (const std::string &condition : ConditionsIn(ReadFile(kRoot / source))) {
            for (const std::string &name : NamesIn(condition)) {
                EXPECT_TRUE(IsNotASystem(name)) << source << " depends on " << name;
            }
        }
    }
}
