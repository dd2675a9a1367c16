// Why a start ended, as its user is told: each fault of a page, a site or the way to it, with the real extension.
#include <gmock/gmock.h>

#include <chrono>

#include "tests/host/LumhostRun.h"

using testing::AllOf;
using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

using Answer = FaultServer::Answer;

const std::string kItem = "Hall.bundle;hall.tgz;;1,0,0,0;10;10;;version;;1;" + std::string(64, 'a') + ";sha256;c2ln";
const std::string kList = "[Kelvo]\nCount=1\nFile1=" + kItem + "\n";

struct Fault {
    const char *what;
    Answer instructions;
    std::string parameters; // of the page, "name=value" with a line break behind each
    int status;
    int message;
    std::string reason; // a part of it
    std::vector<std::string> environment = {};
    std::vector<std::string> arguments = {};
    std::string root = {}; // instead of the server's
};

class ReasonsTest : public LumhostTest {
protected:
    void SetUp() override {
        unsetenv("DISPLAY");
        server.On("/hall.tgz", {{.status = 404}});
    }

    std::string PageOf(const Fault &fault) const {
        const std::string root = fault.root.empty() ? server.Url("") : fault.root;
        std::string page = R"(<object type="application/x-lum"><param name="LumUrlRoot" value=")" + root + "\">";
        std::istringstream lines(fault.parameters);
        for (std::string line; std::getline(lines, line);) {
            const std::size_t equals = line.find('=');
            page += "<param name=\"" + line.substr(0, equals) + "\" value=\"" + line.substr(equals + 1) + "\">";
        }
        return place.Write("page.html", page + "</object>");
    }

    // The sentence is the program's last on standard error, or was said before the message, and the page's.
    void Expect(const Fault &fault) {
        SCOPED_TRACE(fault.what);
        server.On("/lummac.ini", {fault.instructions});
        for (const std::string &variable : fault.environment) {
            const std::size_t equals = variable.find('=');
            setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
        }
        if (!fault.root.empty()) {
            Allow(fault.root);
        }
        std::vector<std::string> arguments = {PageOf(fault), "--json"};
        arguments.insert(arguments.end(), fault.arguments.begin(), fault.arguments.end());
        const auto began = std::chrono::steady_clock::now();
        Lumhost run(arguments);
        EXPECT_EQ(fault.status, run.Wait());
        RecordProperty(fault.what, std::to_string((std::chrono::steady_clock::now() - began).count() / 1'000'000));
        const Json::Value last = run.Events().back();
        EXPECT_EQ(fault.status, last["status"].asInt());
        EXPECT_EQ(fault.message, last["message"].asInt());
        EXPECT_THAT(last["reason"].asString(), HasSubstr(fault.reason));
        EXPECT_THAT(run.Err(), HasSubstr("lumhost: " + last["reason"].asString() + "\n"));
        for (const std::string &variable : fault.environment) {
            unsetenv(variable.substr(0, variable.find('=')).c_str());
        }
    }
};

const std::string kHall = "LumComponentName=Hall.bundle\n";

TEST_F(ReasonsTest, OfTheSiteAndThePage) {
    const Fault faults[] = {
        {"a login page",
         {.body = "\n<!DOCTYPE html>\n<html><title>Guests [free] WLAN</title>"},
         kHall,
         1,
         5,
         "127.0.0.1: a web page came in the place of the instruction file lummac.ini"},
        {"an unknown section",
         {.body = kList},
         kHall + "LumActiveIniSection=Other\n",
         6,
         0,
         "lummac.ini has no section \"Other\", which the page names; it has \"Kelvo\". Tell the operator"},
        {"an empty file", {.body = ""}, kHall, 6, 0, "lummac.ini has no section \"Kelvo\"; it has none"},
        {"another component",
         {.body = kList},
         "LumComponentName=confshell.bundle\n",
         6,
         0,
         "does not list the page's component \"confshell.bundle\" in the section \"Kelvo\". Tell"},
        {"a component behind a gap",
         {.body = "[Kelvo]\nCount=2\nFile2=" + kItem},
         kHall,
         6,
         0,
         "(its list ends before File1, which is missing)"},
        {"no component", {.body = kList}, "", 1, 5, "does not name a component"},
        {"no file", {.status = 404}, kHall, 1, 5, "127.0.0.1: the server does not have the file (status 404)"},
        {"no package",
         {.body = kList},
         "LumComponentName=hall.BUNDLE\n",
         1,
         6,
         "the server does not have the file (status 404). Tell the operator"},
        {"an endless head",
         {.raw = "HTTP/1.1 200 OK\r\nX: " + std::string(4 << 20, 'x')},
         kHall,
         1,
         5,
         "its head is too long"},
        {"too slow",
         {.body = kList, .delay = std::chrono::seconds(20)},
         kHall,
         8,
         0,
         "the time given by --timeout is over; the site was being asked what is needed",
         {},
         {"--timeout", "1"}},
    };
    for (const Fault &fault : faults) {
        Expect(fault);
    }
}

TEST_F(ReasonsTest, OfTheWayToTheSite) {
    FaultServer proxy, secure(FaultServer::Tls::SelfSigned);
    proxy.On("/lummac.ini", {{.status = 407}, {.status = 403}});
    proxy.On("site.example:443", {{.status = 407, .body = "<html>log in"}});
    proxy.On("other.example:443", {{.raw = "HTTP/1.1 407 Proxy Authentication Required\r\n\r\n"}});
    const std::vector<std::string> through = {"http_proxy=" + proxy.Url(""), "https_proxy=" + proxy.Url("")};
    const std::string password = "the proxy 127.0.0.1 asks for a password (status 407). Check the proxy settings";
    const Fault faults[] = {
        {"a proxy with a password", {}, kHall, 1, 5, password, through, {}, "http://site.example"},
        {"a proxy that forbids",
         {},
         kHall,
         1,
         5,
         "(status 403), or the proxy 127.0.0.1 does not let the request through",
         through,
         {},
         "http://closed.example"},
        {"the same for https", {}, kHall, 1, 5, password, through, {}, "https://site.example"},
        {"one that says no more", {}, kHall, 1, 5, password, through, {}, "https://other.example"},
        {"an unknown proxy",
         {},
         kHall,
         1,
         5,
         "the name of the proxy is not known",
         {"http_proxy=http://nowhere.invalid:3128"},
         {},
         "http://site.example"},
        {"an unknown host",
         {},
         kHall,
         1,
         5,
         "nowhere.invalid: this host name is not known",
         {},
         {},
         "http://nowhere.invalid"},
        {"an unknown certificate", {}, kHall, 1, 5, "its certificate is not accepted", {}, {}, secure.Url("")},
    };
    for (const Fault &fault : faults) {
        Expect(fault);
    }
}

} // namespace
