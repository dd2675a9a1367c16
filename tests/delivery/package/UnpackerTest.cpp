// Packages of every kind, good and hostile, and what stands at the destination afterwards.
#include "base/Text.h"
#include "delivery/package/Unpacker.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <locale.h>
#include <seccomp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <lzma.h>
#include <zstd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <random>
#include <thread>

#include "delivery/package/PackageContent.h"
#include "delivery/package/UnpackFailure.h"
#include "delivery/package/EntryPath.h"
#include "delivery/package/Compression.h"
#include "base/StagingFolder.h"
#include "tests/delivery/package/PackageFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/EndlessPackage.h"
#include "tests/support/TempDir.h"

namespace delivery {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
namespace fs = std::filesystem;

const std::string kLong(300'000, 'x');
// Does not compress, so that every part of an archive of it matters.
const std::string kNoise = [] {
    std::minstd_rand random(1);
    std::string noise(300'000, '\0');
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random() >> 8); });
    return noise;
}();

TEST_F(UnpackerTest, InstallsEveryKindInPlaceOfTheOld) {
    for (const Kind &kind : kAll) {
        SCOPED_TRACE(kind.name);
        PutOld();
        const std::vector<Entry> entries{{"My.app/Contents/MacOS/run", kLong, AE_IFREG, 04755},
                                         {"My.app/Contents/ünï コード.txt", "text", AE_IFREG, 0600},
                                         Folder("My.app/empty folder"),
                                         {"./My.app//empty"},
                                         Link("My.app/F.framework/Versions/Current", "A"),
                                         {"My.app/F.framework/Versions/A/F", "F"},
                                         Link("My.app/F.framework/F", "Versions/Current/F"),
                                         Link("My.app/F.framework/Versions/A/up", "../../../empty")};
        EXPECT_EQ(Install(entries, kind), delivery::kUnpackOk) << m_reason;
        const std::map<std::string, std::string> expected{{"My.app/", ""},
                                                          {"My.app/Contents/", ""},
                                                          {"My.app/Contents/MacOS/", ""},
                                                          {"My.app/Contents/MacOS/run*", kLong},
                                                          {"My.app/Contents/ünï コード.txt", "text"},
                                                          {"My.app/empty folder/", ""},
                                                          {"My.app/empty", ""},
                                                          {"My.app/F.framework/", ""},
                                                          {"My.app/F.framework/Versions/", ""},
                                                          {"My.app/F.framework/Versions/A/", ""},
                                                          {"My.app/F.framework/Versions/A/F", "F"},
                                                          {"My.app/F.framework/Versions/Current@", "A"},
                                                          {"My.app/F.framework/F@", "Versions/Current/F"},
                                                          {"My.app/F.framework/Versions/A/up@", "../../../empty"}};
        EXPECT_EQ(Installed(), expected);
        EXPECT_EQ(static_cast<unsigned>(fs::status(m_place / "Contents/MacOS/run").permissions()), 0755u);
        EXPECT_EQ(static_cast<unsigned>(fs::status(m_place / "Contents/ünï コード.txt").permissions()), 0644u);
        EXPECT_EQ(static_cast<unsigned>(fs::status(m_place).permissions()), 0755u);
        fs::remove_all(m_place);
    }
}

TEST_F(UnpackerTest, InstallsASingleFileInPlaceOfAnything) {
    const fs::path outside = m_dir.path() / "outside";
    const std::function<void()> before[] = {
        [] {},
        [&] { m_dir.Write("install/My.app", "old"); },
        [&] { PutOld(); },
        [&] { fs::create_directory_symlink(outside, m_place); },
        [&] { fs::create_symlink("nowhere", m_place); },
        [&] {
            PutOld();
            fs::permissions(m_place, fs::perms::none);
        },
    };
    for (const auto &prepare : before) {
        prepare();
        EXPECT_EQ(Install({{"My.app", "new"}}), delivery::kUnpackOk) << m_reason;
        EXPECT_EQ(Installed(), (std::map<std::string, std::string>{{"My.app", "new"}}));
        EXPECT_EQ(ReadFile(outside / "secret"), "untouched");
        fs::remove(m_place);
    }
}

TEST_F(UnpackerTest, LinksOneFileUnderTwoNames) {
    const Entry second{"My.app/b", {}, AE_IFREG, 0644, {}, "My.app/sub/a"};
    EXPECT_EQ(Install({{"My.app/sub/a", "one"}, second}), delivery::kUnpackOk) << m_reason;
    EXPECT_TRUE(fs::equivalent(m_place / "sub/a", m_place / "b"));
    EXPECT_EQ(ReadFile(m_place / "b"), "one");
}

TEST_F(UnpackerTest, RefusesWhatWouldLeaveTheComponent) {
    const auto hardlink = [](std::string target) {
        return Entry{"My.app/b", {}, AE_IFREG, 0644, {}, std::move(target)};
    };
    const struct {
        int code;
        std::vector<Entry> entries;
    } cases[] = {
        {delivery::kUnpackRefusedEntry, {{"My.app/a"}, {"/tmp/lum-escaped"}}},
        {delivery::kUnpackRefusedEntry, {{"My.app/a"}, {"../lum-escaped"}}},
        {delivery::kUnpackRefusedEntry, {{"My.app/../../lum-escaped"}}},
        {delivery::kUnpackRefusedEntry, {{"My.app/a"}, {"My.app/.."}}},
        {delivery::kUnpackRefusedEntry, {Link("My.app/l", m_dir / "outside")}},
        {delivery::kUnpackRefusedEntry, {Link("My.app/l", "../../outside")}},
        {delivery::kUnpackRefusedEntry, {Link("My.app/l", "..")}},
        {delivery::kUnpackRefusedEntry,
         {Link("My.app/sub/l", "../../My.app/a")}}, // back in again, but under which name?
        {delivery::kUnpackRefusedEntry, {Link("My.app/sub/l", ".."), Link("My.app/m", "sub/l/../..")}},
        {delivery::kUnpackRefusedEntry, {Link("My.app", "elsewhere")}},
        {delivery::kUnpackRefusedEntry, {Folder("My.app/sub"), Link("My.app/l", "sub"), {"My.app/l/a"}}},
        {delivery::kUnpackRefusedEntry, {Folder("My.app/sub"), Link("My.app/l", "sub"), Folder("My.app/l")}},
        {delivery::kUnpackRefusedEntry, {{"My.app/a"}, {"My.app/a/b"}}},
        {delivery::kUnpackRefusedEntry, {{"My.app/a", "1"}, {"My.app/./a", "2"}}},
        {delivery::kUnpackRefusedEntry, {{"My.app/a"}, Link("My.app/a", "b")}},
        {delivery::kUnpackRefusedEntry, {{"My.app/a"}, hardlink(m_dir / "outside/secret")}},
        {delivery::kUnpackRefusedEntry, {{"My.app/a"}, hardlink("../outside/secret")}},
        {delivery::kUnpackRefusedEntry, {{"My.app/a"}, hardlink("My.app/missing")}},
        {delivery::kUnpackRefusedEntry, {Folder("My.app/sub"), hardlink("My.app/sub")}},
        {delivery::kUnpackRefusedEntry, {Link("My.app/l", "a"), hardlink("My.app/l")}},
        {delivery::kUnpackRefusedEntry, {{"My.app/pipe", {}, AE_IFIFO}}},
        {delivery::kUnpackRefusedEntry, {{"My.app/device", {}, AE_IFCHR}}},
        {delivery::kUnpackRefusedEntry, {{"My.app/" + std::string(256, 'n')}}},
        {delivery::kUnpackRefusedEntry,
         {{"My.app" +
           [] {
               std::string deep;
               for (int i = 0; i < 101; ++i) {
                   deep += "/d";
               }
               return deep;
           }()}}},
        {delivery::kUnpackNotOneComponent, {}},
        {delivery::kUnpackNotOneComponent, {Folder("./")}},
        {delivery::kUnpackNotOneComponent, {{"Other.app/a"}}},
        {delivery::kUnpackNotOneComponent, {{"my.app/a"}}},
        {delivery::kUnpackNotOneComponent, {{"My.app/a"}, {"Other.app/a"}}},
        {delivery::kUnpackNotOneComponent, {{"My.app/a"}, {"Read me \x1b[2J"}}},
    };
    PutOld();
    for (const auto &[code, entries] : cases) {
        EXPECT_EQ(Install(entries, kTar), code) << m_reason << testing::PrintToString(entries.size());
        EXPECT_THAT(m_reason, testing::Not(testing::AnyOf("", HasSubstr("\x1b"))));
        EXPECT_EQ(Installed(), m_old) << m_reason;
        EXPECT_EQ(Tree(m_dir.path() / "outside").size(), 1u);
    }
    EXPECT_FALSE(fs::exists("/tmp/lum-escaped"));
}

TEST(UnpackPath, JudgesLinksByTheirText) {
    const struct {
        std::size_t depth;
        const char *target;
        bool inside;
    } cases[] = {{1, "a", true},          {1, "a/b", true}, {2, "../a", true},   {3, ".././../a", true},
                 {1, ".", true},          {1, "..", false}, {2, "../..", false}, {2, "a/..", false},
                 {3, "../a/../b", false}, {1, "/a", false}, {1, "", false},      {2, "..//../a", false},
                 {1, "..a", true},        {0, "a", false},  {0, "..", false}};
    for (const auto &[depth, target, inside] : cases) {
        EXPECT_EQ(LinkStaysInside(depth, target), inside) << depth << " " << target;
    }
}

TEST_F(UnpackerTest, SaysWhatIsWrongWithThePackage) {
    PutOld();
    const std::vector<Entry> entries{{"My.app/a", kNoise}, {"My.app/b", kNoise}};
    for (const Kind &kind : kAll) {
        WritePackage(m_package, kind, entries);
        const std::string whole = ReadFile(m_package);
        for (const std::size_t size : {whole.size() / 2, whole.size() - 1200}) {
            m_dir.Write("package", whole.substr(0, size));
            EXPECT_THAT(Install(), testing::AnyOf(delivery::kUnpackDamaged, delivery::kUnpackNoArchive))
                << kind.name << m_reason;
            EXPECT_EQ(Installed(), m_old);
        }
    }
    const struct {
        const char *name, *content;
        int code;
    } cases[] = {{"package", "", delivery::kUnpackNoArchive},
                 {"package", "Not found\n", delivery::kUnpackNoArchive},
                 {"package", "#mtree\nMy.app type=file contents=/etc/passwd\n", delivery::kUnpackNoArchive},
                 {"package", "PK\x03\x04 but not for long", delivery::kUnpackDamaged}};
    for (const auto &[name, content, code] : cases) {
        m_dir.Write(name, content);
        EXPECT_EQ(Install(), code) << content << m_reason;
    }
    fs::remove(m_package);
    EXPECT_EQ(Install(), delivery::kUnpackNoPackage) << m_reason;
    fs::create_directory(m_package);
    EXPECT_EQ(Install(), delivery::kUnpackNoPackage) << m_reason;
    EXPECT_EQ(Installed(), m_old);
}

TEST_F(UnpackerTest, KeepsWithinTheLimits) {
    PutOld();
    const std::vector<Entry> entries{{"My.app/sub/a", kLong}, {"My.app/sub/b", kLong}};
    delivery::UnpackLimits bytes, count, window;
    bytes.maxBytes = 2 * kLong.size() - 1;
    count.maxEntries = 3; // with the two folders that nobody names
    window.maxWindow = 1 << 18;
    for (const Kind &kind : kAll) {
        EXPECT_EQ(Install(entries, kind, bytes), delivery::kUnpackTooLarge) << kind.name << m_reason;
        EXPECT_EQ(Install(entries, kind, count), delivery::kUnpackTooLarge) << kind.name << m_reason;
        EXPECT_EQ(Installed(), m_old);
    }
    for (const Kind &kind : {kXz, kZst, kAll[6]}) {
        EXPECT_EQ(Install(entries, kind, window), delivery::kUnpackTooLarge) << kind.name << m_reason;
        EXPECT_THAT(m_reason, HasSubstr("MiB of memory"));
    }
    bytes.maxBytes = 2 * kLong.size();
    count.maxEntries = 4;
    EXPECT_EQ(Install(entries, kTgz, bytes), delivery::kUnpackOk);
    EXPECT_EQ(Install(entries, kZip, count), delivery::kUnpackOk);
}

// Compresses by the libraries themselves, with a window that libarchive would not choose.
std::string Xz(const std::string &text, std::uint32_t window) {
    lzma_options_lzma options;
    lzma_lzma_preset(&options, 0);
    options.dict_size = window;
    const lzma_filter filters[] = {{LZMA_FILTER_LZMA2, &options}, {LZMA_VLI_UNKNOWN, nullptr}};
    std::string out(lzma_stream_buffer_bound(text.size()), '\0');
    std::size_t size = 0;
    EXPECT_EQ(lzma_stream_buffer_encode(const_cast<lzma_filter *>(filters), LZMA_CHECK_CRC32, nullptr,
                                        reinterpret_cast<const std::uint8_t *>(text.data()), text.size(),
                                        reinterpret_cast<std::uint8_t *>(out.data()), &size, out.size()),
              LZMA_OK);
    return out.substr(0, size);
}

std::string Zstd(const std::string &text, int windowLog) {
    ZSTD_CCtx *const context = ZSTD_createCCtx();
    ZSTD_CCtx_setParameter(context, ZSTD_c_windowLog, windowLog);
    std::string out(ZSTD_compressBound(text.size()) + 100, '\0');
    ZSTD_inBuffer from{text.data(), text.size(), 0};
    ZSTD_outBuffer to{out.data(), out.size(), 0};
    // In two steps, so that the size is not known and the frame really asks for its window.
    ZSTD_compressStream2(context, &to, &from, ZSTD_e_flush);
    EXPECT_EQ(ZSTD_compressStream2(context, &to, &from, ZSTD_e_end), 0u);
    ZSTD_freeCCtx(context);
    return out.substr(0, to.pos);
}

TEST_F(UnpackerTest, HoldsEveryStreamToTheLimitOfMemory) {
    PutOld();
    WritePackage(m_package, kTar, {{"My.app/a", kNoise}});
    const std::string tar = ReadFile(m_package);
    const std::string head = tar.substr(0, 100'000), rest = tar.substr(100'000);
    const std::uint32_t most = 1536u << 20; // of liblzma
    const struct {
        const char *what;
        std::string package;
        int code;
    } cases[] = {
        {"one xz stream", Xz(tar, most), kUnpackTooLarge},
        {"a second xz stream", Xz(head, 1 << 20) + Xz(rest, most), kUnpackTooLarge},
        {"a second zstd frame", Zstd(head, 20) + Zstd(rest, 27), kUnpackTooLarge},
        {"xz in xz", Xz(Xz(tar, most), 1 << 20), kUnpackNoArchive},
        {"zstd in zstd", Zstd(Zstd(tar, 27), 20), kUnpackNoArchive},
        {"streams and frames within the limit", Xz(head, 1 << 20) + Xz(rest, 64 << 20), kUnpackOk},
        {"frames within the limit", Zstd(head, 20) + Zstd(rest, 26), kUnpackOk},
    };
    for (const auto &[what, package, code] : cases) {
        m_dir.Write("package", package);
        EXPECT_EQ(Install(), code) << what << ": " << m_reason;
    }
    // gzip around xz, and around itself.
    for (const auto &[inner, filter] : {std::pair{Xz(tar, most), "xz"}, {ReadFile(m_package), "gzip"}}) {
        m_dir.Write("inner", inner);
        ASSERT_EQ(std::system(("gzip -c " + (m_dir / "inner") + " > " + m_package.string()).c_str()), 0);
        if (filter == std::string("gzip")) {
            ASSERT_EQ(std::system(("gzip -c " + m_package.string() + " > " + (m_dir / "twice")).c_str()), 0);
            fs::rename(m_dir / "twice", m_package);
        }
        EXPECT_EQ(Install(), kUnpackNoArchive) << filter << ": " << m_reason;
    }
}

TEST_F(UnpackerTest, StopsWhileAPackageYieldsNothing) {
    m_dir.Write("package", EndlessPackage(m_dir));
    delivery::Unpacker unpacker(Worker());
    delivery::UnpackJob job(unpacker, m_package, m_place);
    EXPECT_FALSE(job.Wait(milliseconds(200)));
    job.Cancel();
    EXPECT_TRUE(job.Wait(std::chrono::seconds(1)));
    EXPECT_EQ(Code(job.result()), kUnpackInterrupted) << m_reason;
}

// A zip file whose table has many names for the data of one.
TEST_F(UnpackerTest, RefusesManyNamesForOneEntry) {
    WritePackage(m_package, kZip, {{"My.app/aaaa", kNoise}});
    std::string zip = ReadFile(m_package);
    const std::size_t table = zip.find("PK\1\2"), end = zip.rfind("PK\5\6");
    const std::string entry = zip.substr(table, end - table);
    std::string names;
    for (int i = 0; i < 3000; ++i) {
        names += entry;
        names.replace(names.find("aaaa", names.size() - entry.size()), 4, std::to_string(1000 + i));
    }
    zip.replace(table, end - table, names);
    const std::size_t newEnd = zip.size() - 22;
    for (const std::size_t place : {8, 10}) {
        zip[newEnd + place] = static_cast<char>(3000 & 0xFF);
        zip[newEnd + place + 1] = static_cast<char>(3000 >> 8);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        zip[newEnd + 12 + i] = static_cast<char>(names.size() >> (8 * i));
    }
    m_dir.Write("package", zip);
    EXPECT_EQ(Install(), kUnpackDamaged);
    EXPECT_THAT(m_reason, HasSubstr("lists 3000 entries"));
    EXPECT_FALSE(fs::exists(m_place));
}

// Processes that install the same component at once, while somebody removes it again and again.
TEST_F(UnpackerTest, InstallsBesideOthersThatDoTheSame) {
    WritePackage(m_package, kTar, {{"My.app/a", "x"}});
    std::atomic<bool> over = false;
    std::jthread remover([&] {
        while (!over) {
            std::error_code ignored;
            fs::rename(m_place, m_dir / "taken", ignored);
            fs::remove_all(m_dir / "taken", ignored);
        }
    });
    std::vector<std::string> failures(3);
    {
        std::vector<std::jthread> installers;
        for (std::string &failure : failures) {
            installers.emplace_back([&] {
                delivery::Unpacker unpacker(Worker());
                for (int i = 0; i < 300 && failure.empty(); ++i) {
                    const base::Result<void> result = unpacker.Install(m_package, m_place);
                    failure = result ? "" : result.error().text;
                }
            });
        }
    }
    over = true;
    EXPECT_THAT(failures, testing::Each(""));
}

// What a reader of packages is told is what an installation would have come to.
TEST_F(UnpackerTest, TellsWhatIsInAPackageByTheSameRules) {
    const struct {
        std::vector<Entry> entries;
        int code;
        const char *says; // the component or the reason
    } cases[] = {
        {{{"./My.app/a", kLong}, {"My.app/b", "xy"}}, kUnpackOk, "My.app"},
        {{{"My.app", kLong}}, kUnpackOk, "My.app"},
        {{{"My.app/a", ""}, {"Other.app", ""}}, kUnpackNotOneComponent, "\"Other.app\""},
        {{Folder("./")}, kUnpackNotOneComponent, "nothing"},
        {{{"My.app/../../a", ""}}, kUnpackRefusedEntry, "leads out"},
        {{{"/My.app/a", ""}}, kUnpackRefusedEntry, "leads out"},
        {{Link("My.app/l", "/etc")}, kUnpackRefusedEntry, "not within the component"},
        {{Link("My.app/l", "b/../c")}, kUnpackRefusedEntry, "not within the component"},
        {{Folder("My.app/b"), Link("My.app/l", "b"), {"My.app/l/x", ""}}, kUnpackRefusedEntry, "not a folder"},
        {{{"My.app/a", ""}, {"My.app/a", ""}}, kUnpackRefusedEntry, "twice"},
        {{{"My.app/p", "", AE_IFIFO}}, kUnpackRefusedEntry, "\"My.app/p\""},
    };
    for (const auto &[entries, code, says] : cases) {
        const int installed = Install(entries, kTar);
        const auto content = delivery::ReadPackageContent(m_package, m_folder);
        EXPECT_EQ(installed, code) << m_reason;
        EXPECT_EQ(content ? kUnpackOk : content.error().code, code);
        EXPECT_THAT(content ? content->component : content.error().text, HasSubstr(says));
        fs::remove_all(m_place);
        EXPECT_EQ(Installed().size(), 0u);
    }
    WritePackage(m_package, kTgz, {{"My.app/a", kLong}, {"My.app/b", "xy"}});
    EXPECT_EQ(delivery::ReadPackageContent(m_package, m_folder)->unpackedSize, kLong.size() + 2);
}

TEST_F(UnpackerTest, KnowsTheSizeBeforehand) {
    const std::vector<Entry> entries{{"My.app", kLong}};
    for (const Kind &kind : {kTgz, kXz}) {
        WritePackage(m_package, kind, entries);
        const int file = open(m_package.c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_GE(UnpackedSize(file), kLong.size()) << kind.name;
        EXPECT_LE(UnpackedSize(file), kLong.size() + 20'000) << kind.name;
        close(file);
    }
    // The sizes that a zip file and a gzip file tell of are believed only so far.
    WritePackage(m_package, kTgz, entries);
    std::string lying = ReadFile(m_package);
    lying.replace(lying.size() - 4, 4, "\xff\xff\xff\xff");
    m_dir.Write("package", lying);
    EXPECT_EQ(Install(), delivery::kUnpackOk) << m_reason;
}

TEST_F(UnpackerTest, SaysWhatIsWrongWithTheDestination) {
    WritePackage(m_package, kTar, {{"My.app", kLong}});
    const struct {
        std::string place;
        int code;
    } cases[] = {{"My.app", delivery::kUnpackBadArgument},
                 {"", delivery::kUnpackBadArgument},
                 {"/", delivery::kUnpackBadArgument},
                 {m_dir / "install/", delivery::kUnpackBadArgument},
                 {m_dir / "install/..", delivery::kUnpackBadArgument},
                 {m_dir / "missing/My.app", delivery::kUnpackNotWritable},
                 {m_dir / "package/My.app", delivery::kUnpackNotWritable},
                 {"/proc/My.app", delivery::kUnpackNotWritable}};
    for (const auto &[place, code] : cases) {
        EXPECT_EQ(Code(delivery::Unpacker(Worker()).Install(m_package, place)), code) << place << m_reason;
        EXPECT_NE(m_reason, "");
    }
    PutOld();
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{100'000, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    delivery::Unpacker unpacker(Worker());
    delivery::UnpackJob job(unpacker, m_package, m_place); // on its thread, which takes no SIGXFSZ
    EXPECT_EQ(Code(job.result()), delivery::kUnpackNoSpace) << m_reason;
    setrlimit(RLIMIT_FSIZE, &before);
    unpacker.Rest();
    EXPECT_EQ(Installed(), m_old);
}

TEST_F(UnpackerTest, IsCancelled) {
    PutOld();
    std::stop_source stopped;
    stopped.request_stop();
    WritePackage(m_package, kTgz, {{"My.app", kNoise}});
    EXPECT_EQ(Code(delivery::Unpacker(Worker()).Install(m_package, m_place, stopped.get_token())),
              delivery::kUnpackInterrupted);
    EXPECT_EQ(Installed(), m_old);
    delivery::Unpacker unpacker(Worker());
    delivery::UnpackJob(unpacker, m_package, m_place).Cancel(); // which may come too late
    unpacker.Rest();
    EXPECT_THAT(Installed(), testing::AnyOf(m_old, testing::ElementsAre(testing::Pair("My.app", kNoise))));
    delivery::UnpackJob job(unpacker, m_package, m_place);
    while (!job.Wait(milliseconds(1))) {
    }
    EXPECT_EQ(Code(job.result()), delivery::kUnpackOk) << m_reason;
    unpacker.Rest();
    EXPECT_THAT(Installed(), testing::ElementsAre(testing::Pair("My.app", kNoise)));
}

TEST_F(UnpackerTest, KeepsItsFolderFromOneToTheNext) {
    delivery::Unpacker unpacker(Worker());
    const auto install = [&](const char *text) {
        WritePackage(m_package, kTgz, {{"My.app/a", text}});
        EXPECT_EQ(Code(unpacker.Install(m_package, m_place)), delivery::kUnpackOk) << m_reason;
        EXPECT_EQ(text, ReadFile(m_place / "a"));
    };
    const auto hidden = [&] {
        std::vector<fs::path> found;
        std::copy_if(fs::directory_iterator(m_folder), {}, std::back_inserter(found),
                     [](const fs::path &path) { return path.filename().string().starts_with(".lumhost"); });
        EXPECT_EQ(1U, found.size());
        return found.empty() ? fs::path() : found[0];
    };
    install("one");
    const fs::path first = hidden();
    install("two"); // the older component comes into the hidden folder, and is not met there by the next one
    install("three");
    EXPECT_EQ(first, hidden());
    EXPECT_TRUE(fs::is_empty(first / "new"));
    fs::remove_all(first);
    install("four");
    EXPECT_NE(first, hidden());
    WritePackage(m_package, kTgz, {{"My.app/b", "x"}, {"Other.app", "y"}});
    EXPECT_EQ(Code(unpacker.Install(m_package, m_place)), delivery::kUnpackNotOneComponent);
    EXPECT_TRUE(fs::is_empty(hidden() / "new"));
    unpacker.Rest();
    EXPECT_EQ(Installed(), (std::map<std::string, std::string>{{"My.app/", ""}, {"My.app/a", "four"}}));
}

TEST_F(UnpackerTest, DoesWithoutAnExchangeOfFolders) {
    for (const bool replace : {false, true}) {
        if (replace) {
            PutOld();
        }
        WritePackage(m_package, kTgz, {{"My.app/new", "new"}});
        const pid_t child = fork();
        if (child == 0) {
            ForbidCall(SCMP_SYS(renameat2), EINVAL); // a file system that cannot exchange two folders
            _exit(Install());
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << WEXITSTATUS(status);
        EXPECT_EQ(Installed(), (std::map<std::string, std::string>{{"My.app/", ""}, {"My.app/new", "new"}}));
        fs::remove_all(m_place);
    }
}

TEST_F(UnpackerTest, SurvivesBeingKilled) {
    std::vector<Entry> entries(25);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i] = {"My.app/" + std::to_string(i % 7) + "/" + std::to_string(i), kLong.substr(0, 5000)};
    }
    WritePackage(m_package, kZst, entries);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(Install(), delivery::kUnpackOk);
    const auto once = std::chrono::ceil<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin);
    const auto whole = Installed();
    std::minstd_rand random(1);
    fs::remove_all(m_place);
    int killed = 0;
    for (int i = 0; i < 30; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            while (Install() == delivery::kUnpackOk) { // each in place of the one before
            }
            _exit(1);
        }
        std::this_thread::sleep_for(once * std::uniform_real_distribution<double>(0, 2)(random));
        kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        killed += WIFSIGNALED(status);
        std::map<std::string, std::string> now;
        const bool clean = WaitUntil([&] { // what unpacked for it ends soon after it
            delivery::CleanStaging(m_folder);
            now = Installed();
            return now.empty() || now == whole;
        });
        ASSERT_TRUE(clean) << now.size();
        if (i % 4 == 0) {
            fs::remove_all(m_place);
        }
    }
    EXPECT_EQ(killed, 30);
    EXPECT_EQ(Install(), delivery::kUnpackOk) << m_reason;
}

// What was unpacked when a stop came may be more than can be removed in a moment.
TEST_F(UnpackerTest, LeavesALongRemovalToTheNext) {
    std::stop_source stop;
    stop.request_stop();
    m_dir.Write("install/.lumhost-unpack.dead00/new/My.app/half", "");
    base::RemovalTime time(stop.get_token());
    EXPECT_FALSE(time.IsOver());
    EXPECT_TRUE(WaitUntil([&] { return time.IsOver(); }));
    EXPECT_FALSE(base::RemoveTree(AT_FDCWD, (m_folder / ".lumhost-unpack.dead00").c_str(), time));
    EXPECT_EQ(Installed().size(), 4u);
    delivery::CleanStaging(m_folder);
    EXPECT_TRUE(Installed().empty());
}

TEST_F(UnpackerTest, LeavesARunningInstallationAlone) {
    const base::StagingFolder running(m_folder, ".lumhost-unpack.");
    m_dir.Write("install/.lumhost-unpack.dead00/new/My.app/half", "");
    m_dir.Write("install/.lumhost-unpack", "a file of that name");
    const fs::path outside = m_dir.path() / "outside";
    fs::create_directory_symlink(outside, m_folder / ".lumhost-unpack.link00");
    fs::create_directory_symlink(outside, m_folder / ".lumhost-unpack.dead00/new/link");
    delivery::CleanStaging(m_folder);
    EXPECT_TRUE(fs::exists(running.path() / "lock"));
    EXPECT_FALSE(fs::exists(m_folder / ".lumhost-unpack.dead00"));
    EXPECT_EQ(Installed().size(), 4u); // the running one's folder and lock, the file, the link
    EXPECT_EQ(ReadFile(outside / "secret"), "untouched");
}

} // namespace
} // namespace delivery
