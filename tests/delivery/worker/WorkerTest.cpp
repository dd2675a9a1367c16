// The process that unpacks: what it may, what is made of its answers, and how it ends.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lzma.h>
#include <signal.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <thread>

#include "base/Files.h"
#include "base/Text.h"
#include "delivery/worker/Channel.h"
#include "delivery/worker/Confinement.h"
#include "delivery/worker/UnpackWorker.h"
#include "tests/delivery/package/PackageFixture.h"

namespace delivery {
namespace {

using testing::HasSubstr;

using WorkerTest = UnpackerTest;

// 0, or the errno of what failed.
int ErrorOf(long result) {
    return result < 0 ? errno : 0;
}

// What `work` says in a process of its own.
std::string InChild(const std::function<std::string()> &work) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const base::ScopedDescriptor ours(ends[0]);
    base::ScopedDescriptor theirs(ends[1]);
    const pid_t child = fork();
    if (child == 0) {
        base::WriteAll(theirs.get(), work());
        _exit(0);
    }
    theirs.Close();
    std::string said = base::ReadStart(ours.get(), 100'000);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    return said;
}

TEST_F(WorkerTest, MayMakeFilesInItsFolderAndNothingElse) {
    enum Holder { Always, Landlock, Memory }; // what refuses it, where that may be missing
    const base::ScopedDescriptor staging(open(m_folder.c_str(), O_RDONLY | O_DIRECTORY));
    const std::string outside = m_dir / "outside/";
    const auto make = [&](const std::string &path) {
        return ErrorOf(openat(staging.get(), path.c_str(), O_WRONLY | O_CREAT, 0644));
    };
    const struct {
        const char *what;
        std::function<int()> attempt;
        int error;
        Holder holder = Always;
    } cases[] = {
        {"a folder", [&] { return ErrorOf(mkdirat(staging.get(), "f", 0755)); }, 0},
        {"a file in it", [&] { return make("f/a"); }, 0},
        {"a second name", [&] { return ErrorOf(linkat(staging.get(), "f/a", staging.get(), "b", 0)); }, 0},
        {"a link", [&] { return ErrorOf(symlinkat("f/a", staging.get(), "l")); }, 0},
        {"memory within the limit", [] { return ErrorOf(std::string(32 << 20, 'x').empty() ? -1 : 0); }, 0},
        {"a file elsewhere", [&] { return make(outside + "a"); }, EACCES, Landlock},
        {"a file above", [&] { return make("../a"); }, EACCES, Landlock},
        {"a folder elsewhere", [&] { return ErrorOf(mkdirat(-1, (outside + "f").c_str(), 0755)); }, EACCES, Landlock},
        {"a link elsewhere", [&] { return ErrorOf(symlinkat("a", -1, (outside + "l").c_str())); }, EACCES, Landlock},
        {"another's file under a name here",
         [&] { return ErrorOf(linkat(-1, (outside + "secret").c_str(), staging.get(), "s", 0)); }, EXDEV, Landlock},
        {"reading", [&] { return ErrorOf(open((outside + "secret").c_str(), O_RDONLY)); }, EACCES, Landlock},
        {"removing", [&] { return ErrorOf(unlinkat(staging.get(), "f/a", 0)); }, ENOSYS},
        {"permissions", [&] { return ErrorOf(fchmodat(staging.get(), "f/a", 04755, 0)); }, ENOSYS},
        {"a connection", [] { return ErrorOf(socket(AF_INET, SOCK_STREAM, 0)); }, ENOSYS},
        {"a process", [] { return ErrorOf(fork()); }, ENOSYS},
        {"a program", [] { return ErrorOf(execl("/bin/true", "true", nullptr)); }, ENOSYS},
        {"a signal", [] { return ErrorOf(kill(getppid(), 0)); }, ENOSYS},
        {"a signal by a descriptor", [&] { return ErrorOf(fcntl(staging.get(), F_SETOWN, getppid())); }, ENOSYS},
        {"outliving its parent", [] { return ErrorOf(prctl(PR_SET_PDEATHSIG, 0)); }, ENOSYS},
        {"code",
         [] { return mmap(nullptr, 4096, PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) == MAP_FAILED ? errno : 0; },
         ENOSYS},
        {"other limits",
         [] {
             const rlimit limit{9, 9};
             return ErrorOf(setrlimit(RLIMIT_FSIZE, &limit));
         },
         ENOSYS},
        {"a larger file", [&] { return ErrorOf(ftruncate(openat(staging.get(), "f/a", O_WRONLY), 2 << 20)); }, EFBIG},
        {"too much memory",
         [] {
             return mmap(nullptr, 256 << 20, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) == MAP_FAILED ? errno : 0;
         },
         ENOMEM, Memory},
        {"many open files",
         [&] {
             int last = 0;
             for (int i = 0; i < 200 && last == 0; ++i) {
                 last = ErrorOf(fcntl(staging.get(), F_DUPFD_CLOEXEC, 0));
             }
             return last;
         },
         EMFILE},
    };
    const bool kernelHasLandlock = syscall(SYS_landlock_create_ruleset, nullptr, 0, 1) >= 2;
    signal(SIGXFSZ, SIG_IGN);
    const SystemCallFilter filter;
    const std::string wrong = InChild([&] {
        const Protections has = Confine(staging.get(), {.maxBytes = 1 << 20}, AddressSpace(), filter);
        std::string text;
        for (const auto &[what, attempt, error, holder] : cases) {
            const bool held = (holder != Landlock || kernelHasLandlock) && (holder != Memory || has.memory);
            if (const int got = held ? attempt() : error; got != error) {
                text += std::string(what) + ": " + std::to_string(got) + "\n";
            }
        }
        return text + "done";
    });
    EXPECT_EQ(wrong, "done");
    EXPECT_EQ(ReadFile(outside + "secret"), "untouched");
}

// What the doctor says of it, on this kernel and on one without.
TEST_F(WorkerTest, UnpacksWhereThereIsNoProtection) {
    WritePackage(m_package, kTgz, {{"My.app/a", "x"}});
    for (const bool missing : {false, true}) {
        const std::string said = InChild([&] {
            if (missing) {
                ForbidCall(SCMP_SYS(landlock_create_ruleset), ENOSYS);
                ForbidCall(SCMP_SYS(prctl), EINVAL, PR_SET_SECCOMP);
                ForbidCall(SCMP_SYS(seccomp), ENOSYS);
            }
            UnpackWorker worker(TEST_LUMUNPACK);
            const base::ScopedDescriptor folder(open(m_folder.c_str(), O_RDONLY | O_DIRECTORY));
            const base::Result<Protections> has = worker.Try(folder.get());
            return has ? std::to_string(has->landlock > 0) + std::to_string(has->systemCalls) : has.error().text;
        });
        EXPECT_TRUE(missing ? said == "00" : said.find('1') != std::string::npos) << said;
    }
    EXPECT_EQ(Install(), kUnpackOk);
}

// libarchive gives a 7z file the window that it asks for.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // their own memory leaves no room for a limit
TEST_F(WorkerTest, HoldsAllMemoryToTheLimit) {
    WritePackage(m_package, {"7z", ARCHIVE_FORMAT_7ZIP}, {{"My.app/a", std::string(100'000, 'x')}});
    std::string package = ReadFile(m_package);
    const std::size_t coder = package.find("\x23\x03\x01\x01\x05\x5d"), header = 32;
    ASSERT_NE(coder, std::string::npos);
    package.replace(coder + 6, 4, std::string("\0\0\0\x40", 4)); // 1 GiB
    const auto at = [&](std::size_t place) { return reinterpret_cast<std::uint8_t *>(package.data() + place); };
    std::uint64_t offset = 0, size = 0;
    std::memcpy(&offset, at(12), 8);
    std::memcpy(&size, at(20), 8);
    std::uint32_t sum = lzma_crc32(at(header + offset), size, 0);
    std::memcpy(at(28), &sum, 4);
    sum = lzma_crc32(at(12), 20, 0);
    std::memcpy(at(8), &sum, 4);
    m_dir.Write("package", package);
    EXPECT_EQ(Install(), kUnpackTooLarge) << m_reason;
}
#endif

TEST_F(WorkerTest, AnotherComesWhenItHasEnded) {
    WritePackage(m_package, kTgz, {{"My.app/a", "x"}});
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Install(), kUnpackOk) << m_reason;
        EXPECT_EQ(std::system("pkill -KILL -P $PPID lumunpack"), 0);
        siginfo_t ended;
        EXPECT_EQ(waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT), 0);
    }
    EXPECT_EQ(Code(Unpacker([](const UnpackOrder &order, const std::stop_token &stop) {
                       return UnpackWorker("/missing").Unpack(order, stop);
                   }).Install(m_package, m_place)),
              kUnpackInterrupted);
    EXPECT_THAT(m_reason, HasSubstr("lumunpack, the program that unpacks, is missing"));
}

// A record that is longer than what a socket takes at once.
std::vector<UnpackedFile> ManyFiles() {
    std::vector<UnpackedFile> files(20'000);
    for (std::size_t i = 0; i < files.size(); ++i) {
        files[i].path = "My.app/Contents/Resources/" + std::to_string(i);
    }
    return files;
}

// An answer as a process could give it that a package has taken over.
TEST_F(WorkerTest, TakesNoAnswerOnTrust) {
    const WorkerRequest request{"My.app", {.maxBytes = 10}};
    const auto answer = [](base::Result<Unpacked> unpacked) { return Encode(WorkerAnswer{{}, std::move(unpacked)}); };
    const std::string good = answer(Unpacked{"My.app", 10});
    const struct {
        std::string bytes;
        const char *error; // null: taken
    } cases[] = {{good, nullptr},
                 {answer(base::Fail("two\nlines \x1b[2J", kUnpackDamaged)), nullptr},
                 {"", "ended before it was done"},
                 {good.substr(0, good.size() - 1), "no sense"},
                 {good + "x", "no sense"},
                 {std::string(kMostOfAnswer + 2, 'x'), "no sense"},
                 {answer(Unpacked{"My.app", 10, ManyFiles()}), nullptr},
                 {answer(Unpacked{"Other.app", 10}), "no sense"},
                 {answer(Unpacked{"My.app", 11}), "no sense"},
                 {answer(base::Fail("", kUnpackDamaged)), "no sense"},
                 {answer(base::Fail("x", 7)), "no sense"}};
    for (const auto &[bytes, error] : cases) {
        Channel channel = MakeChannel().value();
        std::jthread peer([&] {
            if (!bytes.empty()) {
                (void)SendText(channel.theirs.get(), bytes); // cut short when it is too long
            }
            channel.theirs.Close();
        });
        const base::Result<WorkerAnswer> read = ReadAnswer(channel.ours.get(), request);
        channel.ours.Close();
        EXPECT_EQ(read.has_value(), !error) << base::OneLine(bytes);
        EXPECT_THAT(read ? "" : read.error().text, HasSubstr(error ? error : ""));
        if (read && !read->unpacked) {
            EXPECT_EQ(read->unpacked.error().text, "two lines ?[2J");
        }
    }
}

} // namespace
} // namespace delivery
