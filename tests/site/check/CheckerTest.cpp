#include "site/check/Checker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/ec.h>
#include <openssl/evp.h>

#include <algorithm>
#include <functional>

#include "delivery/page/PageObjects.h"
#include "site/serve/HttpServer.h"
#include "delivery/instructions/InstructionFile.h"
#include "site/keys/Issue.h"
#include "delivery/instructions/ItemLine.h"
#include "site/publish/Page.h"
#include "tests/site/DemoSite.h"

namespace fs = std::filesystem;
using namespace delivery;
using namespace lumsite;
using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

namespace {

class Checker : public testing::Test {
protected:
    void SetUp() override {
        demo.manifest().url = "http://127.0.0.1:8700/";
        demo.Publish();
    }

    std::string Instructions() const {
        return demo.Instructions();
    }
    void WriteInstructions(const std::string &text) const {
        demo.place().Write("site/lummac.ini", text);
    }
    // The instruction file with one attribute of one item changed.
    std::string With(int item, Attribute attribute, const std::string &value) const {
        std::string text = Instructions();
        const std::size_t start = text.find("File" + std::to_string(item) + "=") + 6;
        const std::size_t end = text.find('\n', start);
        std::vector<std::string> attributes = SplitItemLine(text.substr(start, end - start));
        attributes[attribute] = value;
        std::string line;
        for (const std::string &each : attributes) {
            line += (&each == &attributes.front() ? "" : ";") + each;
        }
        return text.replace(start, end - start, line);
    }
    static std::string Replaced(std::string text, const std::string &from, const std::string &to) {
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return at == std::string::npos ? text : text.replace(at, from.size(), to);
    }
    std::vector<delivery::PageParameter> Parameters() const {
        return delivery::ReadObjects(page).at(0).parameters;
    }
    void WritePageWith(const std::function<void(std::map<std::string, std::string> &)> &change) const {
        std::map<std::string, std::string> parameters;
        for (const delivery::PageParameter &parameter : Parameters()) {
            parameters[parameter.name] = parameter.value;
        }
        change(parameters);
        demo.place().Write("site/index.html", WritePage("Start", parameters));
    }
    std::string Report(const CheckOptions &options = {}) const {
        return TextOf(ReportOn(demo.site(), options).findings);
    }

    DemoSite demo;
    std::string page = (demo.Publish(), ReadFile(demo.site() / "index.html"));
};

} // namespace

// Each fault of the instruction file is found at its line, and what to do is said.
TEST_F(Checker, FaultsOfTheInstructionFile) {
    struct Case {
        std::string text;
        const char *where;
        const char *says;
    };
    const std::string good = Instructions();
    const std::string thirdLine = good.substr(good.find("File3="));
    const std::string flippedHash = std::string(64, '0');
    const Case cases[] = {
        {Replaced(good, "Count=3", "Count=2"), "lummac.ini:5: ", "File3 is not read: Count is 2"},
        {Replaced(good, "Count=3", "Count=4"), "lummac.ini:2: ", "there is no File4"},
        {Replaced(good, "Count=3", "Count=none"), "lummac.ini:2: ", "not a number above 0"},
        {Replaced(good, "Count=3\n", ""), "lummac.ini:1: ", "has no Count"},
        {Replaced(good, "[Kelvo]", "[Kelvin]"), "lummac.ini: ", "no section [Kelvo] (there are: Kelvin)"},
        {Replaced(good, "File2", "File4"), "lummac.ini:2: ", "there is no File2; reading ends before it"},
        {Replaced(good, "File2", "File02"), "lummac.ini:4: ", "key File02 is not read"},
        {Replaced(good, "File3", "File2"), "lummac.ini:5: ", "File2 occurs twice"},
        {Replaced(good, "File3=", "File3=x;y\nFile9="), "lummac.ini:5: ", "fewer than 10"},
        {Replaced(good, "File3=", "File3=\nFile9="), "lummac.ini:5: ", "shorter than two characters"},
        {Replaced(good, "File3=", "\n[kelvo]\nFile3="), "lummac.ini:6: ", "stands a second time"},
        {Replaced(good, ";install;version;;", ";in[st]all;version;;"), "lummac.ini:3: ", "is taken for the section"},
        {Replaced(good, ";install;version;reboot", ";" + std::string(1600, 'i') + ";version;reboot"),
         "lummac.ini:5: ", "is cut after"},
        {good + "File4=" + thirdLine.substr(6), "lummac.ini:6: ", "File4 is not read"},
        {Replaced(good, "Count=3", "Count=4") + "File4=" + thirdLine.substr(6),
         "lummac.ini:6: ", "an item named confshell.bundle exists above"},
        {With(2, kUrl, "packages/gone.tar.zst"), "lummac.ini:4: ", "cannot be fetched: there is no such file"},
        {With(2, kUrl, "../keys/vendor.key"), "lummac.ini:4: ", "\"..\" step"},
        {With(2, kHashValue, flippedHash), "lummac.ini:4: ", "not the one in the line"},
        {With(2, kHashValue, flippedHash), "lummac.ini:4: ", "the signature of Meeting Hall.app"},
        {With(2, kHashMethod, "SHA256"), "lummac.ini:4: ", "not exactly sha1 or sha256"},
        {With(2, kHashMethod, "sha1"), "lummac.ini:4: ", "not the one in the line"},
        {With(3, kSignature, "bm90aGluZw=="), "lummac.ini:5: ", "the signature of confshell.bundle"},
        {With(3, kSignature, ""), "lummac.ini:5: ", "without hash value, hash method and signature"},
        {With(1, kCompressedSize, "99"), "lummac.ini:3: ", "bytes, the line says 99"},
        {With(1, kFileSize, "99"), "lummac.ini:3: ", "unpacks to 8 bytes, the line says 99"},
        {With(1, kName, "libother.dylib"), "lummac.ini:3: ", "holds libklv.dylib instead of libother.dylib"},
        {With(3, kName, "other.bundle"), "index.html:9: ", "LumComponentName confshell.bundle is not an item"},
    };
    ASSERT_THAT(Report(), Not(HasSubstr("error: ")));
    for (const Case &each : cases) {
        WriteInstructions(each.text);
        const base::Findings findings = ReportOn(demo.site()).findings;
        const bool isFound = std::any_of(findings.begin(), findings.end(), [&](const base::Finding &finding) {
            return (finding.where + ": ").starts_with(each.where) &&
                   finding.what.find(each.says) != std::string::npos && !finding.remedy.empty();
        });
        EXPECT_TRUE(isFound) << each.where << each.says << "\n" << TextOf(findings);
    }
}

TEST_F(Checker, FaultsOfPackages) {
    const std::string package = demo.In(demo.PackageOf("confshell.bundle"));
    const std::string good = ReadFile(package);
    std::string flipped = good;
    flipped[flipped.size() / 2] ^= 1;
    for (const std::string &damaged : {flipped, good.substr(0, good.size() / 2), good + "x", std::string()}) {
        demo.place().Write(fs::relative(package, demo.place().path()).string(), damaged);
        EXPECT_THAT(Report(), AllOf(HasSubstr("error: lummac.ini:5: package " + demo.PackageOf("confshell.bundle")),
                                    HasSubstr("hash")));
    }
    // A well-signed package of something that must not be installed.
    OutputOf("cd " + (demo.place() / "parts") + " && tar -czf " + package + " confshell.bundle libklv.dylib");
    EXPECT_THAT(Report(), HasSubstr("cannot be installed: the package holds \"libklv.dylib\""));
    fs::create_symlink("/etc", demo.place() / "parts/confshell.bundle/link");
    OutputOf("cd " + (demo.place() / "parts") + " && tar -czf " + package + " confshell.bundle");
    EXPECT_THAT(Report(), HasSubstr("cannot be installed: the link \"confshell.bundle/link\" leads to \"/etc\""));
}

TEST_F(Checker, FaultsOfThePage) {
    using Parameters = std::map<std::string, std::string>;
    struct Case {
        const char *says;
        void (*change)(Parameters &parameters);
    };
    const Case cases[] = {
        {"no LumUrlRoot", [](Parameters &p) { p.erase("LumUrlRoot"); }},
        {"fewer than 950", [](Parameters &p) { p["LumUrlRoot"] = "http://" + std::string(943, 'a'); }},
        {"contains \"?\"", [](Parameters &p) { p["LumUrlRoot"] += "?x"; }},
        {"no LumComponentName", [](Parameters &p) { p.erase("LumComponentName"); }},
        {"LumComponentName gone.bundle is not an item", [](Parameters &p) { p["LumComponentName"] = "gone.bundle"; }},
        {"LumComponentName libklv.dylib starts no application",
         [](Parameters &p) { p["LumComponentName"] = "libklv.dylib"; }},
        {"starts Kelvo Join.app, which is not published beside it",
         [](Parameters &p) { p["ParmSiteConfigExt_Value"] = "16384"; }},
        {"no section [Other]", [](Parameters &p) { p["LumActiveIniSection"] = "Other"; }},
        {"no lumcertification", [](Parameters &p) { p.erase("lumcertification"); }},
        {"too short", [](Parameters &p) { p["lumcertification"] = "AAAABBBBCC"; }},
        {"piece 1 of lumcertification is not a certificate",
         [](Parameters &p) { p["lumcertification"] = "AAAABBBBCCC"; }},
        {"piece 3 of lumcertification is not a certificate", [](Parameters &p) { p["lumcertification"] += "|"; }},
        {"piece 1 of lumcertification is not a certificate",
         [](Parameters &p) { p["lumcertification"].insert(0, "x|"); }},
        {"without SessionID nothing is reported",
         [](Parameters &p) { p["LoggingURL"] = "http://a/?", p["MeetingID"] = "1"; }},
        {"LoggingURL has no \"?\"", [](Parameters &p) { p["LoggingURL"] = "http://a/log"; }},
        {"nothing follows the download", [](Parameters &p) { p["LumDownloadOnly"] = "true"; }},
        {"spell it LumUrlRoot", [](Parameters &p) { p["LumURLRoot"] = "http://127.0.0.1/"; }},
    };
    for (const Case &each : cases) {
        WritePageWith(each.change);
        EXPECT_THAT(Report(), AllOf(HasSubstr(each.says), HasSubstr("index.html")));
    }
    demo.place().Write("site/index.html", "<html><object type='text/html'></object></html>");
    EXPECT_THAT(Report(), HasSubstr("index.html: the page has no object"));
    // What lumhost takes for an object is one for check, too.
    demo.place().Write("site/index.html", Replaced(page, "type=\"application/x-lum\"", "TYPE=' Application/X-Lum '"));
    EXPECT_THAT(Report(), Not(HasSubstr("error: ")));
    std::string embed = "<embed type=application/x-lum";
    for (const delivery::PageParameter &parameter : Checker::Parameters()) {
        embed += " " + parameter.name + "='" + parameter.value + "'";
    }
    demo.place().Write("site/index.html", embed + ">");
    EXPECT_THAT(Report(), Not(AnyOf(HasSubstr("error: "), HasSubstr("spell it"))));
    fs::remove(demo.site() / "index.html");
    EXPECT_THAT(Report(), HasSubstr("index.html: the page cannot be downloaded"));
    // Lines are looked at without a page as well.
    WriteInstructions(Replaced(Instructions(), "Count=3", "Count=2"));
    EXPECT_THAT(Report(), HasSubstr("File3 is not read"));
    fs::remove(demo.site() / "lummac.ini");
    EXPECT_THAT(Report(), HasSubstr("the instruction file cannot be downloaded"));
}

TEST_F(Checker, FaultsOfCertificates) {
    const fs::path keys = demo.place() / "keys";
    const ScopedKey caKey = ReadPemKey(keys / "ca.key").value();
    const ScopedKey key = ReadPemKey(keys / "vendor.key").value();
    const Certificate ca = ReadPemCertificates(keys / "ca.pem")->front();
    const ScopedKey otherKey = MakeKey().value();
    const Certificate other = Issue("Other", otherKey.get(), {nullptr, otherKey.get()}, ForDays(99), true).value();
    const ScopedKey curve(EVP_EC_gen("P-256"));
    const std::time_t now = std::time(nullptr);
    const auto issue = [&](const std::string &name, std::time_t from, std::time_t until, EVP_PKEY *own) {
        return Issue(name, own, {&ca, caKey.get()}, {from, until}, false).value();
    };
    const std::string name = "a.kelvo.example";
    const Certificate good = issue(name, now - 99, now + 99 * 86400, key.get());
    struct Case {
        std::vector<Certificate> chain;
        const char *says;
    };
    const Case cases[] = {
        {{ca, issue(name, now - 99, now - 9, key.get())},
         "error: index.html:11: the site's certificate CN=a.kelvo.example"},
        {{ca, issue(name, now - 99, now - 9, key.get())}, "expired on"},
        {{ca, issue(name, now + 9999, now + 99999, key.get())}, "is not valid before"},
        {{ca, issue(name, now - 99, now + 29 * 86400, key.get())}, "warning: index.html:11: the site's certificate"},
        {{ca, issue("a.kelvo.example.org", now - 99, now + 99 * 86400, key.get())}, "which is rejected"},
        {{ca, issue("", now - 99, now + 99 * 86400, key.get())}, "has no common name"},
        {{ca, issue(name, now - 99, now + 99 * 86400, curve.get())}, "has no RSA key"},
        {{ca, issue(name, now - 99, now + 99 * 86400, otherKey.get())},
         "was not made by the key of the page's certificate"},
        {{good}, "visitors are asked whether they trust it"},
        {{other, good}, "visitors are asked whether they trust it"},
        {{good, ca}, "which is rejected"}, // the wrong way round
        {{ca, good}, "note: index.html:11: the chain ends in"},
    };
    for (const Case &each : cases) {
        WritePageWith([&](auto &parameters) { parameters["lumcertification"] = ToCertification(each.chain); });
        EXPECT_THAT(Report(), HasSubstr(each.says));
    }
    CheckOptions options;
    options.trusted = {ca};
    EXPECT_EQ(Report(options), "");
    options.trusted = {other};
    EXPECT_THAT(Report(options), HasSubstr("note: "));
    options.trusted = {ca};
    options.soonDays = 200;
    EXPECT_THAT(Report(options), HasSubstr("warning: "));
}

TEST_F(Checker, SectionsAreJudgedByTheirOwnPages) {
    demo.manifest().sections.push_back(demo.AddKeys("Second"));
    demo.manifest().pages.push_back(demo.manifest().pages[0]);
    demo.manifest().pages[1].section = "Second";
    demo.manifest().pages[1].file = "second.html";
    demo.Publish();
    const CheckReport report = ReportOn(demo.site());
    EXPECT_TRUE(report.Passed()) << TextOf(report.findings);
    EXPECT_EQ(report.pages, 2);
    EXPECT_EQ(report.items, 3); // both sections name the same packages
    CheckOptions options;
    options.section = "Second"; // for every page, also that of the other key
    EXPECT_THAT(Report(options), HasSubstr("lummac.ini:8: the signature of libklv.dylib"));
    options.page = "second.html";
    EXPECT_TRUE(ReportOn(demo.site(), options).Passed());
}

TEST_F(Checker, ALiveSiteIsFetchedAsVisitorsDo) {
    std::vector<std::string> lines;
    const HttpServer server =
        HttpServer::Start({demo.site(), 0, "", [&](const std::string &line) { lines.push_back(line); }}).value();
    demo.manifest().url = server.url();
    demo.Publish();
    const CheckReport report = ReportOn(server.url());
    EXPECT_TRUE(report.Passed()) << TextOf(report.findings);
    EXPECT_EQ(report.items, 3);
    EXPECT_THAT(lines, testing::Contains(HasSubstr("\"GET /lummac.ini?random=0\" 200")));

    WriteInstructions(With(2, kUrl, "packages/gone.tar.zst"));
    const std::string text = TextOf(ReportOn(server.url()).findings);
    EXPECT_THAT(text,
                HasSubstr("lummac.ini:4: package " + server.url() +
                          "packages/gone.tar.zst cannot be fetched: the server does not have the file (status 404)"));
    CheckOptions options;
    options.page = server.url() + "gone.html";
    EXPECT_THAT(TextOf(ReportOn(server.url(), options).findings),
                HasSubstr("gone.html: the page cannot be downloaded"));
    demo.manifest().url = "https://elsewhere.example/";
    demo.Publish();
    EXPECT_THAT(TextOf(ReportOn(server.url()).findings), HasSubstr("is not the address that was checked"));
    EXPECT_THAT(ErrorOf(CheckSite("ftp://127.0.0.1/")), HasSubstr("neither a folder nor an address"));
}
