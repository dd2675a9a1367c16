#import <Foundation/Foundation.h>

#include <Carbon/Carbon.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "lum/platform/linux/bundles/Localization.h"
#include "lum/platform/linux/session/SystemVersion.h"
#include "lum/platform/Session.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

std::string Text(NSString *text) {
    return text ? [text UTF8String] : "(nil)";
}

NSString *String(const std::string &text) {
    return [NSString stringWithUTF8String:text.c_str()];
}

TEST(Session, LanguageOfTheEnvironment) {
    NSArray *tables = [@"Dutch English French German Spanish pt ru zh_CN zh_TW" componentsSeparatedByString:@" "];
    const struct {
        const char *language, *all, *messages, *lang;
        std::string expected;
    } cases[] = {
        {"", "", "", "de_AT.UTF-8", "German"},
        {"", "", "", "zh_TW.UTF-8", "zh_TW"},
        {"", "", "", "pt_BR", "pt"},
        {"", "", "", "es_MX@euro", "Spanish"},
        {"", "", "ru_RU.UTF-8", "de_DE.UTF-8", "ru"},
        {"", "fr_FR", "ru_RU", "de_DE", "French"},
        {"xx:nl:fr", "", "", "de_DE.UTF-8", "Dutch"},
        {"xx", "", "", "de_DE.UTF-8", "German"},
        {"nl", "C", "", "de_DE.UTF-8", "English"},
        {"nl", "C.UTF-8", "", "", "English"},
        {"", "", "", "xx_XX", "English"},
    };
    for (const auto &c : cases) {
        setenv("LANGUAGE", c.language, 1);
        setenv("LC_ALL", c.all, 1);
        setenv("LC_MESSAGES", c.messages, 1);
        setenv("LANG", c.lang, 1);
        EXPECT_EQ(Text(LocalizationOfEnvironment(tables)), c.expected) << c.language << " " << c.all << " " << c.lang;
    }
}

TEST(Session, FoldersFollowHome) {
    const std::string home = getenv("HOME");
    NSArray *folders = UserApplicationSupportDirectories();
    ASSERT_EQ([folders count], 1U);
    EXPECT_EQ(Text([folders objectAtIndex:0]), home + "/GNUstep/Library/ApplicationSupport");
    for (const char *none : {"", static_cast<const char *>(nullptr)}) {
        none ? setenv("HOME", none, 1) : unsetenv("HOME");
        NSArray *expected = NSSearchPathForDirectoriesInDomains(NSApplicationSupportDirectory, NSUserDomainMask, YES);
        EXPECT_TRUE([UserApplicationSupportDirectories() isEqual:expected]);
    }
}

TEST(Session, NewTaskSeesTheSessionOnly) {
    clearenv();
    EXPECT_EQ([EnvironmentOfNewTask(nil) count], 0U);
    setenv("DISPLAY", ":5", 1);
    setenv("LANG", "", 1);
    setenv("LC_ALL", "ja_JP.UTF-8", 1);
    setenv("XMODIFIERS", "@im=ibus", 1);
    setenv("XDG_RUNTIME_DIR", "/run/x", 1);
    for (const char *own : {"LD_PRELOAD", "HOSTTYPE", "http_proxy", "XDG", "LC", "MOZ_XDG_X", "DISPLAYS", "GSTheme"}) {
        setenv(own, "/x", 1);
    }
    NSDictionary *expected =
        [NSDictionary dictionaryWithObjectsAndKeys:@":5", @"DISPLAY", @"", @"LANG", @"ja_JP.UTF-8", @"LC_ALL",
                                                   @"@im=ibus", @"XMODIFIERS", @"/run/x", @"XDG_RUNTIME_DIR", nil];
    NSDictionary *environment = EnvironmentOfNewTask(nil);
    EXPECT_TRUE([environment isEqual:expected]) << Text([environment description]);
}

TEST(Session, VersionCanBeLoweredForAScopeOnly) {
    SInt32 version = 0;
    {
        const ScopedSystemVersion older(0x1058);
        EXPECT_EQ(Gestalt(gestaltSystemVersion, &version), noErr);
        EXPECT_EQ(version, 0x1058);
    }
    EXPECT_EQ(Gestalt(gestaltSystemVersion, &version), noErr);
    EXPECT_EQ(version, 0x1090);
    EXPECT_EQ(Gestalt(gestaltSystemVersion + 1, &version), gestaltUndefSelectorErr);
    EXPECT_EQ(version, 0x1090);
}

TEST(Session, DelayIsInSixtiethsOfASecond) {
    const auto start = std::chrono::steady_clock::now();
    unsigned long before = 0;
    unsigned long after = 0;
    Delay(0, &before);
    Delay(6, &after);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
    EXPECT_GE(after - before, 5U);
}

TEST(Session, ObjectiveCExceptionsAreCaught) {
    const auto throwObjC = [](void *) { [NSException raise:@"Name" format:@"Reason %d", 1]; };
    const auto throwCpp = [](void *) { throw std::runtime_error("reason"); };
    const auto throwNothing = [](void *count) { ++*static_cast<int *>(count); };
    NSException *exception = CatchObjCException(throwObjC, nullptr);
    EXPECT_EQ(Text([exception name]) + ": " + Text([exception reason]), "Name: Reason 1");
    EXPECT_THROW(CatchObjCException(throwCpp, nullptr), std::runtime_error);
    int count = 0;
    EXPECT_EQ(CatchObjCException(throwNothing, &count), nil);
    EXPECT_EQ(count, 1);
}

TEST(Session, CryptoLibraryCanBeOpened) {
    void *library = nullptr;
    for (const char *const *path = CryptoLibraryPaths(); *path && !library; ++path) {
        library = dlopen(*path, RTLD_LAZY);
    }
    ASSERT_TRUE(library) << dlerror();
    dlclose(library);
}

class Bundle : public testing::Test {
protected:
    Bundle() {
        [NSUserDefaults setUserLanguages:[NSArray arrayWithObjects:@"German", @"English", nil]];
    }

    void WriteInfo(const std::string &content) {
        m_folder.Write("X.app/Contents/Info.plist", content);
    }

    void WriteStrings(const std::string &localization, const std::string &content) {
        m_folder.Write("X.app/Contents/Resources/" + localization + ".lproj/InfoPlist.strings", content);
    }

    std::string LocalizedName() {
        return Text([LocalizedInfoDictionaryOfBundle(m_path) objectForKey:@"CFBundleName"]);
    }

    TempDir m_folder;
    NSString *m_path = String(m_folder / "X.app");
};

constexpr char kXmlInfo[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                            "<key>CFBundleName</key><string>plain</string>"
                            "<key>CFBundleVersion</key><string>1.2</string></dict></plist>";

TEST_F(Bundle, StringsOfTheUsersLanguageStandAboveTheInfo) {
    struct Case {
        std::vector<std::string> localizations;
        std::string name;
    };
    const Case cases[] = {{{}, "plain"},
                          {{"fr"}, "fr"},
                          {{"fr", "English"}, "English"},
                          {{"fr", "English", "German"}, "German"},
                          {{"fr", "en", "de"}, "de"},
                          {{"English", "de_CH", "de-DE"}, "English"},
                          {{"de_CH", "de", "German"}, "German"}};
    WriteInfo(kXmlInfo);
    for (const Case &c : cases) {
        fs::remove_all(m_folder.path() / "X.app/Contents/Resources");
        for (const std::string &localization : c.localizations) {
            WriteStrings(localization, "CFBundleName = \"" + localization + "\";\n");
        }
        EXPECT_EQ(LocalizedName(), c.name);
        EXPECT_EQ(Text([LocalizedInfoDictionaryOfBundle(m_path) objectForKey:@"CFBundleVersion"]), "1.2");
        EXPECT_EQ([LocalizationsOfBundle(m_path) count], c.localizations.size());
    }
}

TEST_F(Bundle, StringsComeInManyForms) {
    WriteInfo("{ CFBundleName = plain; }");
    const std::pair<std::string, std::string> cases[] = {
        {"/* comment */\n\"CFBundleName\" = \"a \\\"b\\\"\";\n", "a \"b\""},
        {kXmlInfo, "plain"},
        {"\xEF\xBB\xBF"
         "CFBundleName = \"\xC3\xA9\";",
         "\xC3\xA9"},
        {std::string("\xFF\xFE"
                     "C\0F\0B\0u\0n\0d\0l\0e\0N\0a\0m\0e\0=\0\"\0\xE9\0\"\0;\0",
                     36),
         "\xC3\xA9"},
        // What cannot be read is as good as absent.
        {"", "plain"},
        {"CFBundleName = \"unfinished", "plain"},
        {"( CFBundleName )", "plain"},
        {std::string("\0\1\2", 3), "plain"}};
    for (const auto &[content, name] : cases) {
        WriteStrings("German", content);
        EXPECT_EQ(LocalizedName(), name) << content;
    }
}

TEST_F(Bundle, ThatIsNoneHasNothing) {
    for (NSString *path : {m_path, String(m_folder.Write("file", "")), String("")}) {
        EXPECT_EQ(LocalizedInfoDictionaryOfBundle(path), nil);
        EXPECT_EQ(ResourcePathOfBundle(path), nil);
        EXPECT_EQ([LocalizationsOfBundle(path) count], 0U);
    }
    WriteInfo("not a list {");
    EXPECT_EQ(LocalizedInfoDictionaryOfBundle(m_path), nil);
}

class CodeBundle : public testing::Test {
protected:
    std::string Make(const std::string &executable, const std::string &infoFile, const std::string &info) {
        const std::string name = executable.substr(0, executable.find('/'));
        m_folder.Write(name + "/" + infoFile, info);
        const fs::path path = m_folder.path() / executable;
        fs::create_directories(path.parent_path());
        fs::copy_file(PROBE_CODE, path);
        return m_folder / name;
    }

    TempDir m_folder;
};

constexpr char kGNUstepInfo[] = "{ NSExecutable = code; CFBundleIdentifier = \"example.kelvo.probe\"; }";

CFBundleRef MakeBundle(const std::string &path) {
    FSRef ref;
    EXPECT_EQ(FSPathMakeRef(reinterpret_cast<const UInt8 *>(path.c_str()), &ref, nullptr), noErr);
    CFURLRef url = CFURLCreateFromFSRef(kCFAllocatorDefault, &ref);
    CFBundleRef bundle = CFBundleCreate(kCFAllocatorDefault, url);
    CFRelease(url);
    return bundle;
}

void *FindFunction(CFBundleRef bundle, const char *name) {
    CFStringRef text = CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8);
    void *function = CFBundleGetFunctionPointerForName(bundle, text);
    CFRelease(text);
    return function;
}

TEST_F(CodeBundle, GivesItsFunctions) {
    const std::string paths[] = {
        Make("A.bundle/Contents/MacOS/code", "Contents/Info.plist", "{ CFBundleExecutable = code; }"),
        Make("B.bundle/Contents/MacOS/B", "Contents/Info.plist", "{ }"),
        Make("C.bundle/code", "Resources/Info-gnustep.plist", kGNUstepInfo)};
    for (const std::string &path : paths) {
        CFBundleRef bundle = MakeBundle(path);
        ASSERT_TRUE(bundle) << path;
        auto *function = reinterpret_cast<int (*)()>(FindFunction(bundle, "probe"));
        ASSERT_TRUE(function) << path;
        EXPECT_EQ(FindFunction(bundle, "absent"), nullptr);
        CFRelease(bundle);
        EXPECT_EQ(function(), 42) << "the code stays";
    }
    EXPECT_EQ(MakeBundle(m_folder.Write("file", "")), nullptr);
    CFBundleRef empty = MakeBundle(m_folder.path());
    EXPECT_EQ(FindFunction(empty, "probe"), nullptr);
    CFRelease(empty);
}

TEST_F(CodeBundle, IsFoundByItsCode) {
    const std::string path = Make("C.bundle/code", "Resources/Info-gnustep.plist", kGNUstepInfo);
    fs::create_symlink(path, m_folder.path() / "link");
    void *code = dlopen((m_folder / "link/code").c_str(), RTLD_NOW);
    ASSERT_TRUE(code) << dlerror();
    NSBundle *bundle = BundleWithIdentifierOrCode(@"example.kelvo.other", dlsym(code, "probe"));
    EXPECT_EQ(Text([bundle bundlePath]), path);
    EXPECT_EQ(BundleWithIdentifierOrCode(@"example.kelvo.other", reinterpret_cast<void *>(&MakeBundle)), nil);
    EXPECT_EQ(BundleWithIdentifierOrCode(nil, nullptr), nil);
    EXPECT_EQ(BundleWithIdentifierOrCode(@"example.kelvo.probe", nullptr), bundle) << "known from now on";
}

} // namespace
