#include "delivery/instructions/InstructionFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lum/common/lumutil.h"
#include "tests/support/TempDir.h"

using namespace delivery;
using testing::HasSubstr;

// Whatever the extension's reader makes of a file, the reading with line numbers makes too.
TEST(InstructionFile, AgreesWithTheExtensionsReader) {
    const std::string longLine(3000, 'x');
    const std::string texts[] = {
        "[Kelvo]\nCount=1\nFile1=a;b\n",
        "File1=before\n[KELVO]\r\n Count = 2 \r\nfile1 = \" quoted \"\r\nFile2='half\"\r\n",
        "[Other]\nFile1=o\n [ kelvo ] trailing\nFile1=a=b==\nFile1=second\nno key\n;=semicolon\n",
        "[Kelvo]\nFile1=a\n[Kelvo]\nFile2=later\n",
        "[Kelvo]\nFile1=a[1]b\nFile2=b\n",
        "]x[Kelvo]\nFile1=a\n",
        "[Kelvo\nFile1=a\n]\n",
        "[Kelvo]\nFile1=" + longLine + "\nFile2=b",
        "[Kelvo]\n" + std::string(2040, ' ') + "File1=abcdef\nCount=\"\nFile2='\n",
        "[Kelvo]\n=nokey\nFile1=\nFile2=   \n\n\nCount = 12abc",
        "[Kelvo]\nFile1=" + std::string(2047 - 6, 'y') + "\nFile2=z\n",
        "[]\nFile1=a\n[Kelvo]",
        // The mark counts where the line is cut: without it the second piece would begin with another letter.
        "\xEF\xBB\xBF[Kelvo]" + std::string(2047 - 10, 'x') + "File1=a\n",
        "\xEF\xBB\xBF[Kelvo]" + std::string(2047 - 11, 'x') + "File1=a\n",
        "\xEF\xBB\xBF[Kelvo]" + std::string(2047 - 7, 'x') + "File1=a\n",
        "",
    };
    const TempDir place;
    for (const std::string &text : texts) {
        const std::string path = place.Write("lummac.ini", text);
        const InstructionFile file = ReadInstructions(text);
        for (const char *section : {"Kelvo", "kelvo", "Other", ""}) {
            for (const char *key : {"Count", "File1", "FILE2", "semicolon", ";", ""}) {
                char value[4096];
                QXGetPrivateProfileString(section, key, "(none)", value, sizeof value, path.c_str());
                const InstructionSection *found = file.Find(section);
                const InstructionEntry *entry = found ? found->Find(key) : nullptr;
                EXPECT_EQ(entry ? entry->value : "(none)", value) << section << "/" << key << " of\n"
                                                                  << text.substr(0, 80);
            }
        }
    }
}

TEST(InstructionFile, SurprisesHaveALine) {
    const auto faults = [](const std::string &text) {
        std::string said;
        for (const base::Finding &fault : ReadInstructions(text).faults) {
            said += fault.where + ": " + fault.what;
        }
        return said;
    };
    EXPECT_EQ(faults("[Kelvo]\nCount=1\nFile1=" + std::string(2047 - 6, 'y') + "\n[Other]\n"), "");
    EXPECT_THAT(faults("[Kelvo]\nFile1=" + std::string(2048 - 6, 'y') + "\n"),
                HasSubstr("lummac.ini:2: the line has 2048 characters and is cut"));
    EXPECT_EQ(faults("\xEF\xBB\xBF[Kelvo]\nCount=1\n"), "lummac.ini:1: the file begins with a byte-order mark");
    EXPECT_THAT(faults("[Kelvo]\n\nFile1=a[b]\n"), HasSubstr("lummac.ini:3: the line holds both"));
    EXPECT_THAT(faults("[Kelvo]\n[b]\n[kelvo]\n"), HasSubstr("lummac.ini:3: section [kelvo] stands a second time"));
}

TEST(InstructionFile, FileKeysHaveNumbersWithoutLeadingZeros) {
    EXPECT_EQ(FileNumber("File1"), 1);
    EXPECT_EQ(FileNumber("FILE12"), 12);
    for (const char *other : {"File", "File0", "File01", "File1x", "Count", "File-1", "File99999999999"}) {
        EXPECT_EQ(FileNumber(other), 0) << other;
    }
}
