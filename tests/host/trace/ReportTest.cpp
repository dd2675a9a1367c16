// Nothing of a page's private values is in a report: the true extension runs with a canary of its own in every one.
#include <gmock/gmock.h>

#include <filesystem>
#include <regex>
#include <set>

#include "base/Text.h"
#include "host/trace/Redactor.h"
#include "tests/host/LumhostRun.h"

namespace fs = std::filesystem;

namespace {

using ReportTest = LumhostTest;

// Those that the documents describe.
std::set<std::string> Parameters() {
    const std::string text = ReadFile(TEST_PARAMETERS);
    const std::regex row("\n\\| `(\\w+)`[* ]*\\|");
    std::set<std::string> names;
    for (std::sregex_iterator found(text.begin(), text.end(), row); found != std::sregex_iterator(); ++found) {
        names.insert((*found)[1]);
    }
    return names;
}

std::string WholeReport(const TempDir &place) {
    EXPECT_EQ(0, Lumhost({"--report", place / "report.tgz"}).Wait());
    return OutputOf("tar -xzOf '" + (place / "report.tgz") + "'");
}

TEST_F(ReportTest, HoldsNoCanary) {
    unsetenv("DISPLAY");
    std::set<std::string> canaries; // lower case
    int count = 0;
    const auto canary = [&] {
        const std::string text = "Canary" + std::to_string(++count) + "Bird";
        canaries.insert(base::Lower(text));
        return text;
    };
    const std::string list =
        "[Kelvo]\nCount=1\nFile1=confshell.bundle;pack.tgz;;1,0,0,0;9;9;a;version;;0;ab;sha256;c2ln\n";
    // What servers say besides.
    const std::string moved = "/" + canary();
    server.On("/kit/lummac.ini", {FaultServer::Redirect(server.Url(moved + "?" + canary() + "=" + canary()))});
    server.On(moved, {{.body = list, .etag = "\"" + canary() + "\"", .headers = {"X-Note: " + canary()}}});
    server.On("/kit/pack.tgz", {{.status = 404, .headers = {"Server: " + canary()}}});
    server.On("/log", {{.status = 204}});

    std::string page = R"(<object type="application/x-lum"><param name="LumUrlRoot" value=")" + server.Url("/kit") +
                       R"("><param name="LumComponentName" value="confshell.bundle">)";
    for (const std::string &name : Parameters()) {
        std::string value = canary() + " " + canary() + "/" + canary();
        if (name == "LoggingURL") {
            value = "http://" + canary() + ":" + canary() + "@127.0.0.1:1/" + canary() + "/?" + canary() + "=" +
                    canary() + "#" + canary();
        } else if (name == "szNextUrl") {
            value = base::PercentEncode(value);
        } else if (name == "LumConfName" || name == "LumHostName") {
            value = base::ToBase64(value);
        }
        if (!lumhost::IsTechnicalParameter(name)) {
            page.append("<param name=\"").append(name).append("\" value=\"").append(value).append("\">");
        }
    }
    EXPECT_GT(count, 60) << "the documents were read";
    const std::string file = place.Write(canary() + ".html", page + "</object>");
    EXPECT_EQ(1, Lumhost({file, "--log", place / canary()}).Wait());

    const std::string report = base::Lower(WholeReport(place));
    EXPECT_THAT(report, testing::HasSubstr("preparedownload")) << "the extension has run";
    for (const std::string &each : canaries) {
        EXPECT_EQ(std::string::npos, report.find(each)) << each;
        EXPECT_EQ(std::string::npos, report.find(each.substr(0, each.size() - 4))) << "a piece of " << each;
        const std::string number = each.substr(6, each.size() - 10); // the canary's own letters, in base64
        EXPECT_EQ(std::string::npos, report.find(base::Lower(base::ToBase64("Canary" + number + "Bird")))) << each;
    }
}

} // namespace
