// The browsers' files: where they are, what stands in them, and that the program, the extension and they agree.
#include "host/browser/BrowserHosts.h"

#include <gmock/gmock.h>
#include <json/json.h>
#include <sys/stat.h>

#include <sstream>

#include "host/browser/BrowserIds.h"
#include "base/Digest.h"
#include "tests/support/ChildProcess.h"

namespace fs = std::filesystem;
using lumhost::BrowserHost;
using State = lumhost::BrowserHost::State;

namespace {

constexpr const char *kProgram = "/opt/lum/bin/lumhost";

Json::Value Read(const std::string &text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

std::vector<BrowserHost> All(const TempDir &place) {
    lumhost::Folders folders;
    folders.home = place / "home";
    folders.config = place / "home/.config/lumhost";
    std::vector<BrowserHost> hosts = lumhost::UsersBrowserHosts(folders);
    for (BrowserHost &host : lumhost::SystemBrowserHosts(place / "root")) {
        hosts.push_back(std::move(host));
    }
    return hosts;
}

unsigned Mode(const fs::path &path) {
    struct stat status {};
    EXPECT_EQ(0, stat(path.c_str(), &status)) << path;
    return status.st_mode & 0777;
}

std::string Bytes(const std::string &base64) {
    std::string bytes;
    unsigned value = 0;
    int bits = 0;
    for (const char c : base64.substr(0, base64.find('='))) {
        constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        value = value << 6 | static_cast<unsigned>(kDigits.find(c));
        if ((bits += 6) >= 8) {
            bytes += static_cast<char>(value >> (bits -= 8) & 0xFF);
        }
    }
    return bytes;
}

TEST(BrowserHosts, AreWrittenAndRemoved) {
    const TempDir place;
    place.Write("home/.config/chromium/Preferences", "{}");
    for (const BrowserHost &host : All(place)) {
        SCOPED_TRACE(host.file);
        EXPECT_EQ(State::Missing, host.Look(kProgram));
        ASSERT_TRUE(host.Write(kProgram));
        EXPECT_EQ(State::Current, host.Look(kProgram));
        EXPECT_EQ(State::Other, host.Look("/elsewhere/lumhost"));
        EXPECT_EQ(host.forAll ? 0644U : 0600U, Mode(host.file));
        EXPECT_EQ(host.forAll ? 0755U : 0700U, Mode(host.file.parent_path()));

        const Json::Value manifest = Read(ReadFile(host.file));
        EXPECT_EQ(manifest["name"].asString() + ".json", host.file.filename());
        EXPECT_EQ(kProgram, manifest["path"].asString());
        EXPECT_EQ("stdio", manifest["type"].asString());
        if (host.firefox) {
            EXPECT_EQ(lumhost::kFirefoxExtension, manifest["allowed_extensions"][0].asString());
        } else {
            const std::string origin = manifest["allowed_origins"][0].asString();
            EXPECT_EQ("chrome-extension://" + std::string(lumhost::kChromiumExtension) + "/", origin);
        }

        const auto time = fs::last_write_time(host.file);
        EXPECT_TRUE(host.Write(kProgram));
        EXPECT_EQ(time, fs::last_write_time(host.file)) << "nothing to do";
        place.Write(host.file.lexically_relative(place.path()).string(), "broken");
        EXPECT_TRUE(host.Write(kProgram));
        EXPECT_EQ(State::Current, host.Look(kProgram));

        EXPECT_TRUE(host.Remove());
        EXPECT_TRUE(host.Remove()) << "twice";
        EXPECT_FALSE(fs::exists(host.file.parent_path()));
        EXPECT_TRUE(fs::exists(host.limit)) << "that is not ours";
    }
    EXPECT_TRUE(fs::exists(place / "home/.config/chromium/Preferences"));
}

TEST(BrowserHosts, FailuresChangeNothing) {
    const TempDir place;
    place.Write("home/.config/chromium", "a file in the way");
    const BrowserHost host = All(place).front();
    const auto written = host.Write(kProgram);
    ASSERT_FALSE(written);
    EXPECT_THAT(written.error().text, testing::HasSubstr("Not a directory"));
    EXPECT_EQ("a file in the way", ReadFile(place / "home/.config/chromium"));
}

TEST(BrowserHosts, TheExtensionIsTheOneThatIsLetIn) {
    const Json::Value manifest = Read(ReadFile(TEST_BROWSER_EXTENSION "/manifest.json"));
    std::string id = base::DigestOfText(Bytes(manifest["key"].asString())).substr(0, 32);
    for (char &digit : id) {
        digit = static_cast<char>('a' + (digit <= '9' ? digit - '0' : digit - 'a' + 10));
    }
    EXPECT_EQ(lumhost::kChromiumExtension, id);
    EXPECT_EQ(lumhost::kFirefoxExtension, manifest["browser_specific_settings"]["gecko"]["id"].asString());
    const std::string name = "\"" + std::string(lumhost::kNativeHostName) + "\"";
    EXPECT_THAT(ReadFile(TEST_BROWSER_EXTENSION "/starts.js"), testing::HasSubstr(name));
}

TEST(BrowserHosts, TheVerb) {
    const auto said = [](const std::string &words, int status) {
        return OutputOf("'" TEST_LUMHOST "' browser " + words, status);
    };
    EXPECT_THAT(said("status --user", 1), testing::HasSubstr("Type: lumhost browser install"));
    EXPECT_THAT(said("install", 0), testing::HasSubstr("chrome://extensions"));
    said("status", 0);
    const fs::path file = fs::path(std::getenv("HOME")) / ".mozilla/native-messaging-hosts/example.kelvo.lumhost.json";
    EXPECT_EQ(fs::canonical(TEST_LUMHOST), Read(ReadFile(file))["path"].asString());
    said("uninstall", 0);
    EXPECT_FALSE(fs::exists(file));
    said("reinstall", 2);
}

} // namespace
