#include "base/Digest.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

#include "base/ScopedDescriptor.h"
#include "tests/support/TempDir.h"

using base::DigestMethod;
using base::DigestOfFile;
using base::DigestOfText;

// FIPS 180-4's examples, by NIST.
TEST(Digest, IsTheStandards) {
    const struct {
        DigestMethod method;
        const char *text, *hex;
    } cases[] = {
        {DigestMethod::Sha1, "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {DigestMethod::Sha256, "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {DigestMethod::Sha256, "", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {DigestMethod::Sha512, "abc",
         "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
         "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(DigestOfText(c.text, c.method), c.hex);
    }
    base::Digest pieces(DigestMethod::Sha256);
    pieces.Add("a");
    pieces.Add("");
    pieces.Add("bc");
    EXPECT_EQ(pieces.Hex(), DigestOfText("abc"));
}

TEST(Digest, OfAFileIsThatOfItsBytes) {
    const TempDir place;
    const std::string content(600 * 1024 + 1, 'x'); // more than is read at once
    const std::string file = place.Write("file", content);
    EXPECT_EQ(DigestOfFile(file).value(), DigestOfText(content));
    EXPECT_EQ(DigestOfFile(file, DigestMethod::Sha1).value(), DigestOfText(content, DigestMethod::Sha1));
    const base::ScopedDescriptor open(::open(file.c_str(), O_RDONLY));
    lseek(open.get(), 17, SEEK_SET);
    EXPECT_EQ(DigestOfFile(open.get()).value(), DigestOfText(content));
    EXPECT_EQ(lseek(open.get(), 0, SEEK_CUR), 17);

    mkfifo((place / "pipe").c_str(), 0600);
    std::filesystem::create_symlink(file, place / "link");
    const struct {
        const char *name;
        int code;
    } refused[] = {{"missing", ENOENT}, {"", EISDIR}, {"pipe", EINVAL}, {"link", ELOOP}};
    for (const auto &c : refused) {
        const auto digest = DigestOfFile(place / c.name);
        ASSERT_FALSE(digest) << c.name;
        EXPECT_EQ(digest.error().code, c.code) << c.name;
        EXPECT_NE(digest.error().text.find(place / c.name), std::string::npos) << digest.error().text;
    }
}
