#include "tests/site/DemoSite.h"

#include <gtest/gtest.h>

#include "delivery/instructions/InstructionFile.h"
#include "site/FindingText.h"
#include "delivery/instructions/ItemLine.h"
#include "site/publish/ItemLine.h"

namespace fs = std::filesystem;
using namespace delivery;
using namespace lumsite;

void WriteBundle(const TempDir &place, const std::string &path, const std::string &version,
                 const std::string &content) {
    place.WriteBundle(path, version);
    fs::permissions(place.Write(path + "/Contents/MacOS/" + fs::path(path).stem().string(), content),
                    fs::perms::owner_all);
}

namespace {

// Making keys takes longer than all the rest of a site.
const fs::path &KeysOfThisProcess() {
    static const TempDir place;
    static const fs::path keys = [] {
        InitOptions options;
        options.commonName = "site" LUM_VENDOR_SUFFIX;
        EXPECT_EQ(ErrorOf(MakeKeys(place.path() / "keys", options)), "");
        return place.path() / "keys";
    }();
    return keys;
}

} // namespace

DemoSite::DemoSite() {
    WriteBundle(m_place, "parts/confshell.bundle", "2.1.3.4");
    WriteBundle(m_place, "parts/Meeting Hall.app", "2.1.3.4");
    m_place.Write("parts/libklv.dylib", "library\n");
    fs::copy(KeysOfThisProcess(), m_place.path() / "keys", fs::copy_options::recursive);
    const std::string path = m_place.Write("site.json", R"({
  "url": "http://127.0.0.1:8700/",
  "sections": [ { "keys": "keys" } ],
  "components": [
    { "path": "parts/libklv.dylib", "version": "1.2.3.4", "hash": "sha1" },
    { "path": "parts/Meeting Hall.app", "format": "tar.zst" },
    { "path": "parts/confshell.bundle", "failure": "reboot" }
  ],
  "pages": [ { "component": "confshell.bundle" } ]
})");
    m_manifest = ReadManifest(path, "").value();
}

PublishResult DemoSite::Publish(const PublishOptions &options) const {
    base::Result<PublishResult> result = TryPublish(options);
    EXPECT_EQ(ErrorOf(result), "");
    return result.value_or(PublishResult());
}

ManifestSection DemoSite::AddKeys(const std::string &name) const {
    InitOptions options;
    options.commonName = "site" LUM_VENDOR_SUFFIX;
    options.issuers = m_place.path() / "keys";
    EXPECT_EQ(ErrorOf(MakeKeys(m_place.path() / name, options)), "");
    return {"", name, m_place.path() / name};
}

std::string DemoSite::PackageOf(const std::string &component) const {
    for (const InstructionSection &section : ReadInstructions(Instructions()).sections) {
        for (const InstructionEntry &entry : section.entries) {
            const std::vector<std::string> attributes = SplitItemLine(entry.value);
            if (attributes.size() == kAttributes && attributes[kName] == component) {
                return attributes[kUrl];
            }
        }
    }
    ADD_FAILURE() << "no item " << component;
    return "";
}

std::map<std::string, std::string> Tree(const fs::path &folder) {
    std::map<std::string, std::string> files;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file() && entry.path().filename().string().front() != '.') {
            files[fs::relative(entry.path(), folder)] = ReadFile(entry.path());
        }
    }
    return files;
}

std::string TextOf(const base::Findings &findings) {
    std::string text;
    for (const base::Finding &finding : findings) {
        text += ToText(finding);
    }
    return text;
}

CheckReport ReportOn(const std::string &place, const CheckOptions &options) {
    base::Result<CheckReport> report = CheckSite(place, options);
    EXPECT_EQ(ErrorOf(report), "");
    return report.value_or(CheckReport());
}
