#include "base/Files.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <future>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using namespace base;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

namespace {

std::vector<std::string> Names(const fs::path &folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

mode_t ModeOf(const fs::path &path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 0777;
}

class Files : public testing::Test {
protected:
    TempDir m_place;
    const fs::path m_file = m_place.path() / "file";
};

// Files that grow larger than this fail while it lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, SIG_IGN);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
    }

private:
    rlimit m_before{};
};

} // namespace

TEST_F(Files, AreReadWholeOrNotAtAll) {
    const std::string content("a\0b\n", 4);
    m_place.Write("file", content);
    EXPECT_EQ(ReadWhole(m_file, 4).value(), content);
    fs::create_symlink("file", m_place / "link");
    EXPECT_EQ(ReadWhole(m_place / "link", 4).value(), content);
    const ScopedDescriptor open(::open(m_file.c_str(), O_RDONLY));
    lseek(open.get(), 2, SEEK_SET);
    EXPECT_EQ(ReadWhole(open.get(), 4).value(), content);
    EXPECT_EQ(lseek(open.get(), 0, SEEK_CUR), 2);
    EXPECT_EQ(ReadStart(open.get(), 100), "b\n");
    EXPECT_EQ(ReadStart(open.get(), 100), "");

    mkfifo((m_place / "pipe").c_str(), 0600); // without a writer
    const struct {
        const char *name;
        std::uint64_t limit;
        int code;
    } refused[] = {{"file", 3, EFBIG}, {"missing", 9, ENOENT}, {"", 9, EISDIR}, {"pipe", 9, EINVAL}};
    for (const auto &c : refused) {
        const auto read = ReadWhole(m_place / c.name, c.limit);
        ASSERT_FALSE(read) << c.name;
        EXPECT_EQ(read.error().code, c.code) << c.name;
        EXPECT_THAT(read.error().text, HasSubstr(m_place / c.name));
    }
    const ScopedDescriptor number(::open("/proc/self/stat", O_RDONLY));
    EXPECT_EQ(ReadStart(number.get(), 5).size(), 5u);
}

// A pipe takes a part at a time, and a signal interrupts the waiting for more room.
TEST_F(Files, AreWrittenWhole) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const ScopedDescriptor from(ends[0]);
    ScopedDescriptor to(ends[1]);
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    const std::string content(1 << 20, 'x');
    const pthread_t writer = pthread_self();
    auto read = std::async(std::launch::async, [&] {
        std::string all;
        for (std::string part = ReadStart(from.get(), 50'000); !part.empty(); part = ReadStart(from.get(), 50'000)) {
            all += part;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            pthread_kill(writer, SIGUSR1);
        }
        return all;
    });
    EXPECT_TRUE(WriteAll(to.get(), content));
    to.Close();
    EXPECT_EQ(read.get(), content);

    const ScopedDescriptor full(open("/dev/full", O_WRONLY));
    const auto written = WriteAll(full.get(), "x");
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().code, ENOSPC);
}

TEST_F(Files, AreReplacedForTheirReadersOnly) {
    const struct {
        mode_t umask;
        Readers readers;
        mode_t folder, file;
    } cases[] = {
        {0, Readers::Owner, 0700, 0600}, {0, Readers::Everyone, 0755, 0644}, {022, Readers::Everyone, 0755, 0644}};
    for (const auto &c : cases) {
        const TempDir place;
        const mode_t before = umask(c.umask);
        const auto replaced = ReplaceFile(place / "a/b/file", "new", c.readers);
        umask(before);
        ASSERT_TRUE(replaced) << replaced.error().text;
        EXPECT_EQ(ReadFile(place / "a/b/file"), "new");
        EXPECT_EQ(ModeOf(place / "a"), c.folder);
        EXPECT_EQ(ModeOf(place / "a/b"), c.folder);
        EXPECT_EQ(ModeOf(place / "a/b/file"), c.file);
    }
    for (const Durability durability : {Durability::Cached, Durability::OnDisk}) {
        m_place.Write("file", "old");
        ASSERT_TRUE(ReplaceFile(m_file, "new", Readers::Owner, durability));
        EXPECT_EQ(ReadFile(m_file), "new");
        EXPECT_EQ(ModeOf(m_file), 0600u);
    }
    EXPECT_THAT(Names(m_place.path()), UnorderedElementsAre("file"));
}

TEST_F(Files, AreReplacedOnlyWhereAFileMayBe) {
    m_place.Write("target", "target");
    fs::create_symlink("target", m_file);
    ASSERT_TRUE(ReplaceFile(m_file, "new"));
    EXPECT_FALSE(fs::is_symlink(m_file));
    EXPECT_EQ(ReadFile(m_place / "target"), "target");

    fs::create_directory(m_place / "folder");
    EXPECT_EQ(ReplaceFile(m_place / "folder", "new").error().code, EEXIST);
    EXPECT_EQ(ReplaceFile(m_place / "target/file", "new").error().code, ENOTDIR);
    {
        const FileSizeLimit limit(100);
        EXPECT_EQ(ReplaceFile(m_file, std::string(101, 'x')).error().code, EFBIG);
    }
    EXPECT_EQ(ReadFile(m_file), "new");
    EXPECT_THAT(Names(m_place.path()), UnorderedElementsAre("file", "target", "folder"));

    EXPECT_EQ(WriteNewFile(m_file, "newer").error().code, EEXIST);
    EXPECT_EQ(ReadFile(m_file), "new");
    ASSERT_TRUE(WriteNewFile(m_place / "key", "secret"));
    EXPECT_EQ(ReadFile(m_place / "key"), "secret");
    EXPECT_EQ(ModeOf(m_place / "key"), 0600u);
}

TEST_F(Files, OfKilledWritersAreClearedAway) {
    ChildProcess ended("/bin/true");
    const pid_t gone = ended.pid();
    ended.End();
    ChildProcess living("/bin/sleep", {"60"});
    const std::string dead = std::to_string(gone);
    const std::vector<std::string> kept = {
        ".new-" + std::to_string(living.pid()) + "-abcdef",
        ".new-" + std::to_string(getpid()) + "-abcdef",
        ".new-1-abcdef", // of another user, for anybody but root
        // Names that only look like it.
        ".new-" + dead + "ab-abcdef",
        ".new--" + dead + "-abcdef",
        ".new-" + dead,
        ".new-" + dead + "-",
        ".new-" + dead + "-notes.txt",
        ".new-99999999999-abcdef",
        "x.new-" + dead + "-abcdef",
        "new-" + dead + "-abcdef",
    };
    for (const std::string &name : kept) {
        m_place.Write(name, "");
    }
    m_place.Write(".new-" + dead + "-abcdef", "");
    m_place.Write(".new-" + dead + "-x9_YzA", "");
    RemoveUnfinished(m_place.path());
    EXPECT_THAT(Names(m_place.path()), testing::UnorderedElementsAreArray(kept));
    RemoveUnfinished(m_place / "missing");

    m_place.Write(".new-" + dead + "-abcdef", "");
    ASSERT_TRUE(ReplaceFile(m_file, "new"));
    EXPECT_FALSE(fs::exists(m_place / (".new-" + dead + "-abcdef")));
}

TEST_F(Files, ThatAreStagedGoUnlessTheyGetTheirName) {
    {
        auto staged = StagedFile::Make(m_place.path());
        ASSERT_TRUE(staged);
        StagedFile moved = std::move(*staged);
        EXPECT_EQ(Names(m_place.path()).size(), 1u);
        ASSERT_TRUE(WriteAll(moved.descriptor(), "x"));
    }
    EXPECT_TRUE(fs::is_empty(m_place.path()));
    EXPECT_EQ(StagedFile::Make(m_place / "missing").error().code, ENOENT);
}

TEST_F(Files, FoldersAreMadeWithTheirParents) {
    EXPECT_TRUE(MakeFolder(m_place / "a/b/c"));
    EXPECT_TRUE(MakeFolder(m_place / "a/b/c"));
    fs::create_directory_symlink("a", m_place / "link");
    EXPECT_TRUE(MakeFolder(m_place / "link"));
    m_place.Write("file", "");
    EXPECT_EQ(MakeFolder(m_file).error().code, ENOTDIR);
    EXPECT_EQ(MakeFolder(m_file / "x").error().code, ENOTDIR);
    EXPECT_FALSE(MakeFolder(""));
}

TEST_F(Files, AreLockedBetweenProcesses) {
    int ready[2];
    int leave[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(leave), 0);
    const pid_t other = fork();
    if (other == 0) {
        const auto lock = FileLock::Wait(m_file);
        WriteAll(ready[1], lock ? "1" : "0");
        ReadStart(leave[0], 1);
        _exit(0);
    }
    EXPECT_EQ(ReadStart(ready[0], 1), "1");
    EXPECT_EQ(FileLock::Try(m_file).error().code, EWOULDBLOCK);
    auto waiting = std::async(std::launch::async, [&] { return FileLock::Wait(m_file).has_value(); });
    EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_TRUE(WriteAll(leave[1], "x"));
    EXPECT_TRUE(waiting.get()) << "a process that has ended holds no lock";
    waitpid(other, nullptr, 0);
    {
        const auto first = FileLock::Try(m_file);
        EXPECT_TRUE(first);
        EXPECT_FALSE(FileLock::Try(m_file)) << "another one of this process";
    }
    EXPECT_TRUE(FileLock::Try(m_file));
    EXPECT_EQ(ModeOf(m_file), 0600u);
    EXPECT_EQ(FileLock::Wait(m_place / "missing/lock").error().code, ENOENT);
    fs::create_symlink("file", m_place / "link");
    EXPECT_EQ(FileLock::Try(m_place / "link").error().code, ELOOP);
}
