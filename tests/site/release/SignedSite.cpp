#include "tests/site/release/SignedSite.h"

#include <chrono>

#include "delivery/instructions/InstructionFile.h"
#include "site/publish/ItemLine.h"
#include "site/release/Visitor.h"

namespace fs = std::filesystem;
using namespace lumsite;

SignedSite::SignedSite() : now(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now())) {
    EXPECT_EQ(ErrorOf(MakeReleaseKeys(Keys(), {}, now)), "");
    demo.manifest().release = ManifestRelease{"site.json:1", Keys(), {}};
    Publish();
}

void SignedSite::Publish(const std::function<void(const std::string &)> &checkpoint) {
    PublishOptions options;
    options.now = now;
    options.sameVersion = true;
    options.checkpoint = checkpoint;
    demo.Publish(options);
}

void SignedSite::Rotate(const Rotation &rotation) {
    const base::Result<CeremonyResult> result = RotateKeys(Keys(), rotation, now);
    ASSERT_EQ(ErrorOf(result), "");
    EXPECT_TRUE(result->isComplete) << result->lacking;
}

fs::path SignedSite::NewVisitor() {
    const fs::path folder = demo.place().path() / ("visitor-" + std::to_string(++m_visitors));
    EXPECT_EQ(ErrorOf(Visitor::Fresh(folder, ReadFile(Keys() / "1.root.json"))), "");
    return folder;
}

std::string SignedSite::Visit(const fs::path &visitor, delivery::ReleaseTime when) const {
    FolderRelease release(demo.site());
    std::vector<std::string> wanted = {"lummac.ini"};
    for (const bool last : {false, true}) {
        const auto found = Visitor(visitor).Start(release, wanted, when);
        if (!found) {
            return found.error().text;
        }
        for (const delivery::ReleaseTarget &target : *found) {
            const std::string bytes = ReadFile(Release() / "targets" / target.address);
            if (const auto same = delivery::CheckFile(target.path, target.facts, bytes); !same) {
                return same.error().text;
            }
            wanted = last ? wanted : PackageUrls(delivery::ReadInstructions(bytes));
        }
    }
    return "";
}

std::string SignedSite::Check(const fs::path &visitor) const {
    CheckOptions options;
    options.visitor = visitor;
    options.now = now;
    options.trusted = ReadPemCertificates(demo.place().path() / "keys/ca.pem").value();
    return TextOf(ReportOn(demo.site(), options).findings);
}
