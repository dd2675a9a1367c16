// The program itself, as a person at a terminal meets it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <regex>
#include <sstream>

#include "tests/site/DemoSite.h"

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

namespace {

const std::string kLumsite = TEST_LUMSITE;

// `lumsite serve` as a process of its own, ended with the object.
class ServeProcess {
public:
    ServeProcess(const TempDir &place, const std::string &folder)
        : m_process(kLumsite, {"serve", folder, "--port-file", place / "port", "--log", place / "log", "--log-endpoint",
                               "/log"}) {
        EXPECT_TRUE(WaitUntil([&] { return fs::exists(place / "port"); }));
        m_port = ReadFile(place / "port");
        m_port.pop_back();
    }
    std::string url() const {
        return "http://127.0.0.1:" + m_port + "/";
    }
    int Interrupt() {
        m_process.Signal(SIGTERM);
        return m_process.Wait();
    }

private:
    ChildProcess m_process;
    std::string m_port;
};

} // namespace

TEST(Program, FromKeysToACheckedSite) {
    const TempDir place;
    const std::string in = "cd " + place.path().string() + " && " + kLumsite + " ";
    WriteBundle(place, "confshell.bundle", "2.1.3.4");
    place.Write("site.json", R"({ "url": "http://127.0.0.1:1/", "sections": [ { "keys": "keys" } ],
      "components": [ { "path": "confshell.bundle" } ],
      "pages": [ { "parameters": { "LumDownloadOnly": "TRUE", "szNextUrl": "http://127.0.0.1:1/" } } ] })");
    EXPECT_THAT(OutputOf(in + "init keys --days 90 --chain 1"),
                HasSubstr("keys: certificate for site.kelvo.example, issued by CN=Demonstration Authority 1"));
    place.Write("site/x", "");
    const ServeProcess serve(place, place / "site");
    EXPECT_THAT(OutputOf(in + "publish site.json site --url " + serve.url()),
                AllOf(HasSubstr("new  packages/confshell.bundle-"), HasSubstr("new  lummac.ini\nnew  index.html\n")));
    EXPECT_THAT(OutputOf(in + "publish site.json site --url " + serve.url()),
                HasSubstr("kept packages/confshell.bundle-"));
    EXPECT_EQ(OutputOf(in + "check " + serve.url() + " --ca keys/ca.pem"),
              "Checked 1 page and 1 package: 0 errors, 0 warnings\n");
    EXPECT_THAT(OutputOf(in + "check site --ca keys/ca.pem --soon 100"), HasSubstr("0 errors, 1 warning\n"));
    place.Write("site/lummac.ini",
                std::regex_replace(ReadFile(place / "site/lummac.ini"), std::regex(";[^;]*\n$"), ";AAAA\n"));
    EXPECT_EQ(OutputOf(in + "check site 2>&1 >/dev/null", 1), ""); // all of the report is on standard output
    place.Write("site/index.html", "");
    EXPECT_THAT(OutputOf(in + "check site", 1), HasSubstr("error: index.html: the page has no object"));
    OutputOf("curl -s '" + serve.url() + "log?ConfID=1&OptInfo3=no%20error'");
    EXPECT_THAT(ReadFile(place / "log"), AllOf(HasSubstr("\nreport ConfID=1 OptInfo3=no error\n"),
                                               HasSubstr("127.0.0.1 \"GET /lummac.ini?random=0\" 200 ")));
}

TEST(Program, AnInterruptedServerEndsWell) {
    const TempDir place;
    place.Write("site/index.html", "x");
    ServeProcess serve(place, place / "site");
    EXPECT_EQ(serve.Interrupt(), 0);
}

TEST(Program, PackWritesWhereItIsTold) {
    const TempDir place;
    WriteBundle(place, "a.bundle", "1.0.0.0");
    const std::string in = "cd " + place.path().string() + " && " + kLumsite + " pack a.bundle/";
    EXPECT_THAT(OutputOf(in), HasSubstr("a.bundle.tar.gz: "));
    EXPECT_THAT(OutputOf(in + " -o a.bundle", 1), HasSubstr("a.bundle exists but is not a regular file"));
    const std::string told = OutputOf(in + " --format=zip -o out.zip");
    EXPECT_THAT(told, HasSubstr("sha256 " + OutputOf("sha256sum < " + (place / "out.zip")).substr(0, 64)));
}

// Every shell block of the document, in one go.
TEST(Program, DocumentedCommandsRunAsWritten) {
    const TempDir place;
    std::istringstream document(ReadFile(TEST_DOCUMENT));
    std::string commands =
        "set -e\ncd " + place.path().string() + "\nPATH=" + fs::path(kLumsite).parent_path().string() + ":$PATH\n";
    bool inside = false;
    for (std::string line; std::getline(document, line);) {
        if (line.starts_with("```")) {
            inside = line == "```sh";
        } else if (inside) {
            commands += line + "\n";
        }
    }
    const std::string output = OutputOf("sh " + place.Write("commands", commands));
    EXPECT_THAT(output, AllOf(HasSubstr("installed as libklv-1.2.3.4.dylib"), HasSubstr(":sha1WithRSA")));
    std::size_t checks = 0;
    for (std::size_t at = 0;
         (at = output.find("Checked 1 page and 3 packages: 0 errors, 0 warnings", at)) != std::string::npos; ++at) {
        ++checks;
    }
    EXPECT_EQ(checks, 7u);
}

TEST(Program, MisuseIsTwoAndFailureIsOne) {
    struct Case {
        const char *arguments;
        int status;
        const char *says;
    };
    const Case cases[] = {
        {"", 2, "usage: lumsite"},
        {"--help", 0, "usage: lumsite"},
        {"frob", 2, "see \"lumsite --help\""},
        {"init --help", 0, "usage: lumsite init"},
        {"pack --help", 0, "--links-as-files"},
        {"publish --help", 0, "--prune"},
        {"serve --help", 0, "--log-endpoint PATH"},
        {"check --help", 0, "--section NAME"},
        {"renew --help", 0, "lumsite renew KEYS SITE"},
        {"rotate keys roots", 2, "\"roots\" is not root, targets, snapshot or timestamp"},
        {"rotate keys root --public x", 2, "--public and --command need each other"},
        {"rotate /nowhere root", 1, "lumsite init /nowhere --release"},
        {"init a --release --days 9", 2, "--days does not go with --release"},
        {"init a --release --threshold 4", 1, "3 keys, of which 4 have to sign"},
        {"renew /nowhere .", 1, "lumsite init /nowhere --release"},
        {"init", 2, "init: it needs DIR; see \"lumsite init --help\""},
        {"init a b", 2, "\"b\" is one word too many"},
        {"init a --days", 2, "--days needs a whole number from 1"},
        {"init a --days 1x", 2, "is not a whole number from 1 to 36500"},
        {"init a --renew=1", 2, "takes no value"},
        {"pack a --formt zip", 2, "there is no option --formt; see \"lumsite pack --help\""},
        {"pack /nowhere/a.bundle", 1, "cannot pack /nowhere/a.bundle: No such file"},
        {"pack /etc --format rar", 2, "\"rar\" is not tar.gz, tar.zst, tar.xz or zip"},
        {"publish /nowhere/site.json x", 1, "cannot read /nowhere/site.json"},
        {"serve /nowhere", 1, "cannot serve /nowhere"},
        {"serve . --log-endpoint log", 2, "is not a path that begins with \"/\""},
        {"serve . --port 65536", 2, "from 0 to 65535"},
        {"check /nowhere", 1, "neither a folder nor an address"},
        {"check http://127.0.0.1:1/", 1, "the instruction file cannot be downloaded"},
    };
    for (const Case &each : cases) {
        EXPECT_THAT(OutputOf(kLumsite + " " + each.arguments, each.status), HasSubstr(each.says)) << each.arguments;
    }
}
