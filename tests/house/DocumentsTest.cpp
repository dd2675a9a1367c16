// The documents name files that exist, and parameters that the extension reads.
#include <gmock/gmock.h>

#include <regex>
#include <set>

#include "tests/house/Floors.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;

namespace {

const fs::path kRoot = LUM_SOURCE_FOLDER;

std::vector<fs::path> Documents(const std::vector<std::string> &folders) {
    std::vector<fs::path> documents;
    for (const std::string &folder : folders) {
        for (const auto &entry : fs::directory_iterator(kRoot / folder)) {
            if (entry.path().extension() == ".md") {
                documents.push_back(entry.path());
            }
        }
    }
    return documents;
}

// Whether it is meant as a file or folder of the project. NAME stands for a name to be filled in.
bool IsPath(const std::string &text) {
    static const std::regex path("[A-Za-z0-9_-]+/([A-Za-z0-9_.-]+/?)*");
    static const Floors floors = Floors::Read(ReadFile(kRoot / "docs/dev/architecture.md"));
    return std::regex_match(text, path) && floors.IsOfTheProject(text) && text.find("NAME") == std::string::npos;
}

// The targets of [text](target) that are not addresses, without what follows "#".
std::vector<std::string> LinksIn(const std::string &markdown) {
    static const std::regex link("\\]\\(([^)#]+)(#[^)]*)?\\)");
    std::vector<std::string> links;
    for (auto found = std::sregex_iterator(markdown.begin(), markdown.end(), link); found != std::sregex_iterator();
         ++found) {
        if (const std::string target = (*found)[1]; target.find("://") == std::string::npos) {
            links.push_back(target);
        }
    }
    return links;
}

} // namespace

TEST(Documents, PathsExist) {
    for (const char *path : {"lum/common/lumutil.h", "tests/house", "base/"}) {
        EXPECT_TRUE(IsPath(path)) << path;
    }
    for (const char *other : {"lummac.ini", "/proc", "text/html", "fuzz/corpus/NAME", "base/a b"}) {
        EXPECT_FALSE(IsPath(other)) << other;
    }
    int count = 0;
    for (const fs::path &document : Documents({".", "docs/dev"})) {
        for (const std::string &text : QuotedIn(ReadFile(document))) {
            if (IsPath(text)) {
                EXPECT_TRUE(fs::exists(kRoot / text)) << document << " names " << text;
                ++count;
            }
        }
    }
    EXPECT_GT(count, 100);
}

TEST(Documents, LinksLeadSomewhere) {
    for (const fs::path &document : Documents({".", "docs", "docs/dev", "theme", "lum/resources"})) {
        for (const std::string &target : LinksIn(ReadFile(document))) {
            EXPECT_TRUE(fs::exists(document.parent_path() / target)) << document << " links to " << target;
        }
    }
}

TEST(Documents, EveryPageParameterIsDescribed) {
    static const std::regex read("arameter\\(\"([A-Za-z_]+)\"\\)");
    std::set<std::string> parameters;
    for (const fs::path &source : SourcesBelow(kRoot)) {
        if (!source.string().starts_with("lum/")) {
            continue;
        }
        const std::string text = ReadFile(kRoot / source);
        for (auto found = std::sregex_iterator(text.begin(), text.end(), read); found != std::sregex_iterator();
             ++found) {
            parameters.insert((*found)[1]);
        }
    }
    EXPECT_GT(parameters.size(), 20U);
    const std::vector<std::string> described = QuotedIn(ReadFile(kRoot / "docs/parameters.md"));
    for (const std::string &parameter : parameters) {
        EXPECT_THAT(described, testing::Contains(parameter));
    }
}
