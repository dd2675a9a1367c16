#include <gtest/gtest.h>
#include <dlfcn.h>

#include <filesystem>

#include "lum/common/lumutil.h"
#include "lum/platform/Session.h"
#import "lum/security/CryptoWrapperLibrary.h"
#include "tests/support/ChildProcess.h"

namespace {

// What the openssl command says of the file.
std::string Peer(const char *digest, const std::string &path) {
    const std::string line = OutputOf(std::string("openssl dgst -r -") + digest + " '" + path + "'");
    return line.substr(0, line.find(' '));
}

std::size_t OpenDescriptors() {
    namespace fs = std::filesystem;
    return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

std::string_view g_missing;

void *LookUpAllBut(void *library, const char *name) {
    return name == g_missing ? nullptr : dlsym(library, name);
}

// Shares a crypto library that lacks one function.
class ScopedCrypto {
public:
    ScopedCrypto(const char *const *paths, std::string_view missing) {
        g_missing = missing;
        [CryptoWrapper destorySharedInstance];
        g_sharedCryptoInstance = [[CryptoWrapper alloc] initWithLibraryPaths:paths lookUp:LookUpAllBut];
    }
    ~ScopedCrypto() {
        [CryptoWrapper destorySharedInstance];
    }
    ScopedCrypto(const ScopedCrypto &) = delete;
    ScopedCrypto &operator=(const ScopedCrypto &) = delete;
};

class Hash : public testing::Test {
protected:
    TempDir m_dir;
};

} // namespace

TEST_F(Hash, AgreesWithTheCommandLine) {
    // Around a chunk, and around what the stream reads ahead.
    for (const std::size_t size : {1U, 4095U, 4096U, 4097U, 65535U, 65536U, 65537U, 300000U}) {
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            content[i] = static_cast<char>(i * 7 + i / 251);
        }
        const std::string path = m_dir.Write("file", content);
        EXPECT_EQ(Sha1OfFile(path), Peer("sha1", path)) << size;
        EXPECT_EQ(Sha256OfFile(path), Peer("sha256", path)) << size;
    }
}

TEST_F(Hash, NothingToHash) {
    for (const std::string &path : {m_dir.Write("empty", ""), m_dir / "missing", std::string()}) {
        EXPECT_EQ(Sha1OfFile(path), "");
        EXPECT_EQ(Sha256OfFile(path), "");
    }
}

TEST_F(Hash, StreamsStayOpen) {
    const std::string path = m_dir.Write("file", "content");
    const std::string expected = Sha1OfFile(path);
    const std::size_t before = OpenDescriptors();
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(Sha1OfFile(path), expected);
    }
    EXPECT_EQ(OpenDescriptors(), before + 100);
}

TEST_F(Hash, LibraryThatLacksAFunction) {
    const std::string path = m_dir.Write("file", "abc");
    const char *const sha1 = "a9993e364706816aba3e25717850c26c9cd0d89d";
    const char *const sha256 = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
    struct {
        std::string_view missing;
        const char *sha1, *sha256;
    } const cases[] = {
        {"SHA1_Init", "", sha256},   {"SHA1_Update", "", sha256}, {"SHA1_Final", "", sha256}, {"SHA256_Init", sha1, ""},
        {"SHA256_Update", sha1, ""}, {"SHA256_Final", sha1, ""},  {"SHA_Init", sha1, sha256},
    };
    for (const auto &c : cases) {
        const ScopedCrypto crypto(CryptoLibraryPaths(), c.missing);
        EXPECT_EQ(Sha1OfFile(path), c.sha1) << c.missing;
        EXPECT_EQ(Sha256OfFile(path), c.sha256) << c.missing;
    }
    const char *const nowhere[] = {"/nowhere/libcrypto.so", nullptr};
    const ScopedCrypto crypto(nowhere, "");
    EXPECT_EQ(Sha1OfFile(path), "");
    EXPECT_EQ(Sha256OfFile(path), "");
}
