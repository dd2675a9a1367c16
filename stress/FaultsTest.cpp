// Faults of the machine, one at a time, while the program installs a component with the real extension. However a start
// ends, it ends by itself and says why, nothing half is installed, and the next undisturbed start installs it.
#include <gmock/gmock.h>
#include <json/json.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>

#include "tests/support/FaultServer.h"
#include "tests/support/TestSite.h"

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAreArray;

namespace {

// What the shell lines below may use. `mounted FOLDER SIZE COMMAND...` runs the command with a small disk there; where
// nothing can be mounted, no file gets larger than that. `powerless COMMAND...` runs it without the superuser's powers.
constexpr char kFunctions[] = R"sh(
mounted() {
  folder=$1 kilobytes=$2; shift 2
  mkdir -p "$folder"
  if unshare -m mount -t tmpfs none "$folder" 2>/dev/null; then
    exec unshare -m sh -c 'mount -t tmpfs -o size=$1k none "$2" && shift 2 && exec "$@"' sh $kilobytes "$folder" "$@"
  fi
  ulimit -f $((kilobytes * 2)); exec "$@"
}
powerless() {
  if [ "$(id -u)" = 0 ]; then exec setpriv --bounding-set=-all --inh-caps=-all -- "$@"; fi
  exec "$@"
}
foreign() {
  if [ "$(id -u)" = 0 ]; then mkdir -p "$1" && chown 65534 "$1" && chmod 755 "$1"; else mkdir -p "${1%/*}" && ln -s /usr "$1"; fi
}
support=$HOME/GNUstep/Library/ApplicationSupport
kelvo="$support/Kelvo Folder"
)sh";

class Machine {
public:
    Machine() {
        const std::string data = package.Write("Part.bundle/Contents/data", std::string(4'000'000, ' '));
        OutputOf("head -c 600000 /dev/urandom >>'" + data + "'"); // the package is as large
        package.Write("Part.bundle/Contents/\u00fc", "a name");
        OutputOf("tar -C '" + package.path().string() + "' -czf '" + (package / "part.tgz") + "' Part.bundle");
        const SiteIdentity identity = TestSite::MakeIdentity(package, "www.kelvo.example");
        OutputOf("install -D -m 600 '" + (package / "site-ca.pem") + "' '" +
                 (place / "config/lum/certificates/trusted/ca.pem") + "'");
        const TestSite::Item item{.name = "Part.bundle", .url = "part.tgz"};
        server.On(
            "/lummac.ini",
            {{.body = "[Kelvo]\nCount=1\nFile1=" + TestSite::ItemLine(identity, item, package / "part.tgz") + "\n"}});
        server.On("/log", {{.status = 204}});
        place.Write("config/lumhost/allowed-origins", server.Url("") + "\n");
        page = place.Write(
            "page.html",
            R"(<object type="application/x-lum"><param name="LumUrlRoot" value=")" + server.Url("") +
                R"("><param name="LumComponentName" value="Part.bundle">)" +
                R"(<param name="LumDownloadOnly" value="TRUE"><param name="szNextUrl" value="http://next">)" +
                R"(<param name="LumProductVersion" value="2.4"><param name="MeetingID" value="1">)" +
                R"(<param name="SessionID" value="2"><param name="LoggingURL" value=")" + server.Url("/log?a=b") +
                R"("><param name="lumcertification" value=")" + identity.certification + R"("></object>)");
        fs::create_directory(place / "home");
        fs::create_directory(place / "tmp");
        fs::permissions(place / "tmp", fs::perms::owner_all);
        setenv("HOME", (place / "home").c_str(), 1);
        setenv("XDG_CONFIG_HOME", (place / "config").c_str(), 1);
        setenv("TMP", (place / "tmp").c_str(), 1);
        setenv("TMPDIR", (place / "tmp").c_str(), 1);
        unsetenv("DISPLAY");
    }
    ~Machine() {
        OutputOf("chmod -R u+rwX '" + place.path().string() + "'");
    }

    // Starts the page within this shell line (`"$@"` is the program); `meanwhile` happens while the package is asked
    // for.
    void Start(const std::string &line, const std::function<void(const Machine &)> &meanwhile = {}) {
        server.ForgetRequests();
        server.On("/part.tgz",
                  {{.body = ReadFile(package / "part.tgz"), .delay = std::chrono::milliseconds(meanwhile ? 4000 : 0)}});
        place.Write("line", kFunctions + line);
        ChildProcess run("/bin/sh", {place / "line", TEST_LUMHOST, "--json", "--timeout", "60", page},
                         ChildProcess::Streams::Kept);
        if (meanwhile) {
            EXPECT_TRUE(server.WaitForRequests(5)) << "three to the log, the instructions, the package";
            meanwhile(*this);
        }
        status = run.Wait();
        events = run.Out();
        errors = run.Err();
    }

    // Once the fault is gone.
    void ExpectUndisturbedStart() {
        Start(R"sh(for folder in "$support" "$HOME/.cache"; do [ ! -h "$folder" ] || rm "$folder"; done
                   chmod -R u+rwX "$HOME"; [ "$(id -u)" != 0 ] || chown -R 0 "$HOME"; exec "$@")sh");
        EXPECT_EQ(0, status) << events << errors;
        EXPECT_TRUE(IsInstalled());
        EXPECT_THAT(Run("status"), HasSubstr("Part.bundle  whole (2 files)"));
        EXPECT_EQ("", OutputOf("find '" + (place / "home") +
                               "' -name '.new-*' -o -name 'installing.*' -o -name '.lumhost-*'"));
    }

    // What another verb prints.
    static std::string Run(const std::string &arguments) {
        return OutputOf("'" TEST_LUMHOST "' " + arguments);
    }

    int Message() const {
        const std::size_t last = events.rfind('\n', events.size() - 2);
        Json::Value event;
        std::istringstream(events.substr(last == events.npos ? 0 : last + 1)) >> event;
        return event["message"].asInt();
    }

    std::vector<int> LogCodes() const {
        std::vector<int> codes;
        for (const auto &request : server.requests()) {
            const std::size_t code = request.query.find("ErrorCode=");
            if (code != request.query.npos) {
                codes.push_back(std::atoi(request.query.c_str() + code + 10));
            }
        }
        return codes;
    }

    // The component whole, or nothing of it.
    bool IsInstalled() const {
        const fs::path folder = place / "home/GNUstep/Library/ApplicationSupport/Kelvo Folder/2.4";
        std::error_code error;
        if (!fs::exists(folder / "Part.bundle", error)) {
            return false;
        }
        OutputOf("diff -r '" + (package / "Part.bundle") + "' '" + (folder / "Part.bundle").string() + "'");
        return true;
    }

    const TempDir place, package;
    std::string page, events, errors;
    int status = -1;
    FaultServer server;
};

struct Fault {
    const char *name;
    std::string line; // the shell's
    int status;
    int message;
    std::vector<int> codes;        // of the log
    std::optional<bool> installed; // nothing: the fault comes sooner or later than that
    std::function<void(const Machine &)> meanwhile = {};
};

void PrintTo(const Fault &fault, std::ostream *out) {
    *out << fault.name;
}

const std::vector<int> kWell = {1001, 1002, 1003};

class MachineFaults : public testing::TestWithParam<Fault> {};

TEST_P(MachineFaults, EndInOrder) {
    const Fault &fault = GetParam();
    Machine machine;
    machine.Start(fault.line, fault.meanwhile);
    EXPECT_EQ(fault.message, machine.Message()) << machine.events << machine.errors;
    EXPECT_THAT(machine.LogCodes(), UnorderedElementsAreArray(fault.codes)) << machine.events;
    const bool installed = machine.IsInstalled();
    EXPECT_EQ(fault.installed.value_or(installed), installed);
    const bool cameTooLate = !fault.installed && installed && machine.status == 0;
    EXPECT_TRUE(cameTooLate || machine.status == fault.status) << machine.events << machine.errors;
    machine.ExpectUndisturbedStart();
}

#define PRELOADED "LD_PRELOAD=" TEST_FAULTS " "

void EndNotificationDaemon(const Machine &machine) {
    OutputOf("for e in /proc/[0-9]*/environ; do p=${e#/proc/}; p=${p%/*};"
             "  if [ \"$(cat /proc/$p/comm 2>/dev/null)\" = gdnc ] && tr '\\0' '\\n' <$e 2>/dev/null | grep -qx 'TMP=" +
             (machine.place / "tmp") + "'; then kill -KILL $p; fi; done");
}

const Fault kFaults[] = {
    {"Nothing", R"sh(exec "$@")sh", 0, 0, kWell, true},
    {"NoRoomForDownloads", R"sh(mounted "$HOME/.cache" 256 "$@")sh", 1, 6, {1001, 1002, 6}, false},
    {"NoRoomForComponents", R"sh(mounted "$kelvo/2.4" 2048 "$@")sh", 1, 7008, {1001, 1002, 1003, 7008}, false},
    {"NoRoomForNotes", R"sh(mounted "$HOME/.local" 8 "$@")sh", 0, 0, kWell, true},
    {"FilesMayNotGrow", R"sh(ulimit -f 400; exec "$@")sh", 1, 6, {1001, 1002, 6}, false},
    {"HomeReadOnly", R"sh(chmod 555 "$HOME"; powerless "$@")sh", 1, 5, {1001, 5}, false},
    {"SupportReadOnly",
     R"sh(mkdir -p "$support"; chmod 555 "$support"; powerless "$@")sh",
     1,
     7009,
     {1001, 1002, 1003, 7009},
     false},
    {"SupportForeign", R"sh(foreign "$support"; powerless "$@")sh", 1, 7009, {1001, 1002, 1003, 7009}, false},
    {"CacheForeign", R"sh(foreign "$HOME/.cache"; powerless "$@")sh", 1, 5, {1001, 5}, false},
    {"NoHome", R"sh(HOME=/dev/null/home exec "$@")sh", 1, 5, {1001, 5}, false},
    {"NoTemporaryFolder", R"sh(TMP=/dev/null/tmp TMPDIR=/dev/null/tmp exec "$@")sh", 0, 0, kWell, true},
    {"NotificationDaemonKilled", R"sh(exec "$@")sh", 0, 0, kWell, true, EndNotificationDaemon},
    {"WindowServerGone",
     R"sh(mkfifo "$TMP/number"; Xvfb -displayfd 3 -nolisten tcp 3>"$TMP/number" >/dev/null 2>&1 & echo $! >"$TMP/server"
        read -r number <"$TMP/number"; echo ":$number" >"$TMP/display"; DISPLAY=:$number exec "$@")sh",
     9,
     0,
     {1001, 1002, 1003},
     {},
     [](const Machine &machine) {
         const std::string folder = machine.place / "tmp";
         OutputOf(
             "cd '" + folder +
             "' && for i in $(seq 50); do "
             "xwininfo -display $(cat display) -root -children | grep -q '\"[Ll]umhost' && break; sleep 0.1; done; "
             "kill -KILL $(cat server)");
     }},
    {"LocaleC", R"sh(LC_ALL=C exec "$@")sh", 0, 0, kWell, true},
    {"LocaleLatin", R"sh(localedef -i de_DE -f ISO-8859-1 "$TMP/de_DE.ISO-8859-1" 2>/dev/null
                       LOCPATH=$TMP LC_ALL=de_DE.ISO-8859-1 exec "$@")sh",
     0, 0, kWell, true},
#ifndef __SANITIZE_ADDRESS__ // which wants to be loaded before everything else
    {"NoCrypto", PRELOADED R"sh(FAULT_LIBRARY=libcrypto exec "$@")sh", 1, 7, {1001, 1002, 7}, false},
    {"NoSha", PRELOADED R"sh(FAULT_SYMBOL=SHA256_Update exec "$@")sh", 1, 7, {1001, 1002, 7}, false},
    {"NoVerify", PRELOADED R"sh(FAULT_SYMBOL=RSA_verify exec "$@")sh", 1, 23, {1001, 1002, 23}, false},
    {"ClockSetBack", PRELOADED R"sh(FAULT_CLOCK=$TMP/back exec "$@")sh", 0, 0, kWell, true,
     [](const Machine &machine) { machine.place.Write("tmp/back", ""); }},
#endif
};

TEST(Faults, OutOfDescriptors) {
    Machine machine;
    for (const char *limit : {"20", "26", "40"}) {
        SCOPED_TRACE(limit);
        OutputOf("rm -rf '" + (machine.place / "home") + "'/*");
        machine.Start(std::string("ulimit -n ") + limit + R"sh(; exec "$@")sh");
        EXPECT_LT(machine.status, 9) << "ended by itself\n" << machine.errors;
        EXPECT_EQ(machine.status == 0, machine.IsInstalled()) << machine.status;
    }
    machine.ExpectUndisturbedStart();
}

#ifndef __SANITIZE_ADDRESS__
TEST(Faults, KilledRightAfterAMove) {
    Machine machine;
    machine.Start(PRELOADED R"sh(FAULT_KILL=renameat2 exec "$@")sh");
    EXPECT_EQ(-SIGKILL, machine.status);
    EXPECT_TRUE(machine.IsInstalled());
    EXPECT_THAT(Machine::Run("status"), HasSubstr("Part.bundle  whole (2 files)"));
    machine.Start(PRELOADED R"sh(FAULT_KILL=rename exec "$@")sh");
    EXPECT_EQ(-SIGKILL, machine.status);
    machine.ExpectUndisturbedStart();
}
#endif

// What a site's log and the files for support hold.
TEST(Privacy, NothingOfThePersonLeaves) {
    Machine machine;
    const std::string home = machine.place / "home";
    // The folder is not writable, so that there is a warning about it, which goes to the log.
    machine.Start(R"sh(mkdir -p "$support"; chmod 555 "$support"
                       powerless "$@" --log "$TMP/trace" --param MeetingKey=Secret-4711 --param LumHostName=Ada-Lovelace)sh");
    EXPECT_EQ(1, machine.status);
    std::string sent;
    for (const auto &request : machine.server.requests()) {
        EXPECT_THAT(request.target,
                    AllOf(Not(HasSubstr("Secret")), Not(HasSubstr("Lovelace")), Not(HasSubstr("lumtest"))));
        sent += request.path == "/log" ? request.target + "\n" : "";
    }
    EXPECT_THAT(sent, HasSubstr("~%2FGNUstep")) << "the warning was sent";
    Machine::Run("--report '" + (machine.place / "report.tgz") + "'");
    const std::string report = OutputOf("tar -xzOf '" + (machine.place / "report.tgz") + "'") +
                               OutputOf("find '" + home + "/.local/state/lumhost' -type f -exec cat {} +");
    EXPECT_THAT(report, AllOf(HasSubstr("DoItemInstall"), Not(HasSubstr("Secret")), Not(HasSubstr("Lovelace")),
                              Not(HasSubstr(home))));
    EXPECT_EQ("600\n600\n600\n600\n",
              OutputOf("find '" + (machine.place / "tmp/trace") + "' '" + (machine.place / "report.tgz") + "' '" +
                       home + "/.local/state/lumhost' -type f -printf '%m\\n'"));
}

INSTANTIATE_TEST_SUITE_P(Each, MachineFaults, testing::ValuesIn(kFaults),
                         [](const auto &instance) { return std::string(instance.param.name); });

} // namespace
