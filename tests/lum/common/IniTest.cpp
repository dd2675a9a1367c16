#include <gmock/gmock.h>

#include <array>
#include <filesystem>
#include <functional>

#include "base/FileVersion.h"
#include "lum/common/lumutil.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

class Ini : public testing::Test {
protected:
    std::string Value(std::string_view content, const char *section, const char *key) {
        const std::string path = m_dir.Write("a.ini", content);
        std::array<char, 4096> out{};
        const unsigned int length =
            QXGetPrivateProfileString(section, key, "(default)", out.data(), out.size(), path.c_str());
        EXPECT_EQ(length, std::string_view(out.data()).size());
        return out.data();
    }

    unsigned int Integer(std::string_view value) {
        const std::string path = m_dir.Write("a.ini", "[s]\nk=" + std::string(value) + "\n");
        return QXGetPrivateProfileInt("s", "k", 77, path.c_str());
    }

    TempDir m_dir;
};

struct Case {
    const char *content;
    const char *expected;
};

} // namespace

TEST_F(Ini, SectionHeaders) {
    const Case cases[] = {
        {"[Items]\nk=1\n", "1"},
        {"[ items\t]\r\nk=1\r\n", "1"},
        {"some [ITEMS] text\nk=1", "1"},
        {"[Items\n]\nk=1", "(default)"}, // both brackets, but not on one line
        {"] [Items\nk=1", "1"},          // in any order: up to the line's end then
        {"[Items][Other]\nk=1", "1"},    // the first of each
        {"[]\nk=1\n[Items]\nk=2", "2"},
        {"k=0\n[Items]\nk=1", "1"}, // before the first header
        {"[Item]\nk=0\n[ItemsX]\nk=0\n[Items]\nk=1", "1"},
        {"[Items]\nj=1\n[Other]\nk=2\n[Items]\nk=3", "(default)"}, // only the first of a name
        {"[Items]\nj=[x]\nk=1", "(default)"},                      // a value with both brackets is a header
        {"[Items]\nj=[x\nk=1", "1"},
        {"[Items]\nk=a]b\n", "a]b"},
        {"", "(default)"},
        {"[Items]", "(default)"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(Value(c.content, "Items", "k"), c.expected) << c.content;
    }
}

TEST_F(Ini, KeysAndValues) {
    const Case cases[] = {
        {"Name = \" abc \"", "abc"},
        {"NAME\t=abc\t\r\n", "abc"},
        {"name=a=b", "a=b"},
        {"name=", ""},
        {"name", "(default)"},
        {"names=1\nnam=2\n=3\nname=4", "4"},
        {"name=first\nname=second", "first"},
        {"; name=1\n#name=2\nname=3", "3"}, // no comments: these are other keys
        {"name='it''s'", "it''s"},
        {"name='abc\"", "'abc\""},
        {"name=\"abc", "\"abc"},
        {"name=abc\"", "abc\""},
        {"name=\"", ""},
        {"name='", ""},
        {"name=\"\"", ""},
        {"name=' \" '", "\""},
        {"name=a;b|c", "a;b|c"},
        {"n\xc3\x84me=1\nname=2", "2"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(Value(std::string("[s]\n") + c.content, "s", "name"), c.expected) << c.content;
    }
}

TEST_F(Ini, LongLinesAreReadInPieces) {
    const std::string longest(2047 - std::string_view("k=").size(), 'v');
    EXPECT_EQ(Value("[s]\nk=" + longest, "s", "k"), longest);
    EXPECT_EQ(Value("[s]\nk=" + longest + "cut\nj=1", "s", "k"), longest);
    EXPECT_EQ(Value("[s]\n" + std::string(2047, 'x') + "k=second piece\n", "s", "k"), "second piece");
    EXPECT_EQ(Value("[s]\n" + std::string(2047, 'x') + "[t]\nk=1\n", "s", "k"), "(default)");
    EXPECT_EQ(Value(std::string(2046, ' ') + "[s]\nk=1\n", "s", "k"), "(default)"); // brackets in two pieces
}

TEST_F(Ini, BinaryFilesEnd) {
    using namespace std::string_literals;
    EXPECT_EQ(Value("[s]\n\0junk\nk=1\0more\nj=2\n"s, "s", "k"), "1");
    EXPECT_EQ(Value("[s]\0]\nk=1\0"s, "s", "k"), "1");
    EXPECT_EQ(Value("[s\0]\nk=1"s, "s", "k"), "(default)");
    EXPECT_EQ(Value(std::string(100000, '\0'), "s", "k"), "(default)");
    EXPECT_EQ(Value("[s]\n" + std::string(5000, '\0') + "\nk=1", "s", "k"), "1");
}

TEST_F(Ini, OutIsBoundedAndTerminated) {
    const std::string path = m_dir.Write("a.ini", "[s]\nk=abcdef\n");
    struct {
        const char *key;
        unsigned int size;
        const char *expected;
    } const cases[] = {
        {"k", 4, "abc"}, {"k", 1, ""}, {"k", 7, "abcdef"}, {"x", 4, "ab"},
        {"x", 2, ""},    {"x", 1, ""}, {"x", 8, "abcdef"},
    };
    for (const auto &c : cases) {
        std::string out(16, '#');
        EXPECT_EQ(QXGetPrivateProfileString("s", c.key, "abcdef", out.data(), c.size, path.c_str()),
                  std::string_view(c.expected).size());
        EXPECT_THAT(out, StartsWith(std::string(c.expected) + '\0' + '#')) << c.key << c.size;
    }
    char untouched = '#';
    EXPECT_EQ(QXGetPrivateProfileString("s", "k", "abcdef", &untouched, 0, path.c_str()), 0U);
    EXPECT_EQ(untouched, '#');
}

TEST_F(Ini, Integers) {
    const std::pair<const char *, unsigned int> cases[] = {
        {"  7 and more", 7}, {"12abc", 12}, {"+3", 3}, {"-1", 0xFFFFFFFF}, {"'5'", 5}, {"0", 0},
        {"0x10", 0},         {"x1", 77},    {"", 77},  {"- 1", 77},
    };
    for (const auto &[value, expected] : cases) {
        EXPECT_EQ(Integer(value), expected) << value;
    }
    EXPECT_EQ(QXGetPrivateProfileInt("s", "other", 5, (m_dir / "a.ini").c_str()), 5U);
}

TEST_F(Ini, UnreadableFileGivesTheDefault) {
    for (const std::string &path : {m_dir / "missing.ini", m_dir.path().string()}) {
        char out[16] = "";
        EXPECT_EQ(QXGetPrivateProfileString("s", "k", "default", out, sizeof out, path.c_str()), 7U);
        EXPECT_STREQ(out, "default");
        EXPECT_EQ(QXGetPrivateProfileInt("s", "k", 9, path.c_str()), 9U);
    }
}

// What was read is remembered; a change must show at once, also one that leaves size and name as they were.
TEST_F(Ini, AnswersFollowTheFile) {
    const std::string path = m_dir / "a.ini";
    const auto answer = [&path] {
        char out[16] = "";
        QXGetPrivateProfileString("s", "k", "none", out, sizeof out, path.c_str());
        return std::string(out);
    };
    const auto write = [this](const char *value) { m_dir.Write("a.ini", std::string("[s]\nk=") + value); };
    struct {
        const char *change;
        std::function<void()> make;
        const char *expected;
    } const cases[] = {
        {"written", [&] { write("1"); }, "1"},
        {"written again", [&] { write("2"); }, "2"},
        {"replaced", [&] { fs::rename(m_dir.Write("b.ini", "[s]\nk=3"), path); }, "3"},
        {"times set back", [&] { fs::last_write_time(path, {}); }, "3"},
        {"written and times set back", [&] { write("4"), fs::last_write_time(path, {}); }, "4"},
        {"longer", [&] { write("5\n;"); }, "5"},
        {"removed", [&] { fs::remove(path); }, "none"},
    };
    for (const bool settles : {true, false}) {
        for (const auto &c : cases) {
            c.make();
            if (settles && fs::exists(path)) {
                EXPECT_TRUE(WaitUntil([&] { return base::SettledVersion(path.c_str()).has_value(); }));
            }
            EXPECT_EQ(answer(), c.expected) << c.change << (settles ? " a while ago" : "");
        }
    }
}

TEST_F(Ini, StreamIsReadFromWhereItStands) {
    FILE *stream = fopen(m_dir.Write("a.ini", "[s]\nk=1\nk=2\n[s]\nk=3\n").c_str(), "rb");
    char out[16] = "untouched";
    EXPECT_TRUE(QXReadIni(stream, "s", "k", out, sizeof out));
    EXPECT_STREQ(out, "1");
    EXPECT_TRUE(QXReadIni(stream, "s", "k", out, sizeof out)); // the second section is the first from here
    EXPECT_STREQ(out, "3");
    EXPECT_FALSE(QXReadIni(stream, "s", "k", out, sizeof out));
    EXPECT_STREQ(out, "3");
    fclose(stream);
}

TEST(Trim, BothFunctions) {
    const std::pair<const char *, const char *> cases[] = {
        {" \t\r\na b\n\r\t ", "a b"}, {"", ""}, {" \r\n", ""}, {"a", "a"}, {"\va\f", "\va\f"}, {"a\xa0", "a\xa0"},
    };
    for (const auto trim : {QXTrimStringA, QXTrimString}) {
        for (const auto &[text, expected] : cases) {
            std::string buffer = text;
            EXPECT_STREQ(trim(buffer.data()), expected);
        }
        std::string kept = "  a  ";
        EXPECT_EQ(trim(kept.data()), kept.data() + 2);
        EXPECT_EQ(kept, std::string("  a\0\0", 5)) << "each blank at the end becomes a zero";

        const TraceRecorder recorder;
        trim(nullptr);
        EXPECT_THAT(recorder.Texts(3), ElementsAre(StartsWith("ASSERT lpszString failed at file lum/common/lumutil,")));
    }
}
