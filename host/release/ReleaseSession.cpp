#include "host/release/ReleaseSession.h"

#include <sys/stat.h>

#include <algorithm>

#include "base/Files.h"
#include "base/ScopedSignalBlock.h"
#include "base/StagingFolder.h"
#include "base/Url.h"
#include "delivery/release/ReleaseFault.h"
#include "host/release/Refusal.h"
#include "host/release/ReleaseState.h"

namespace lumhost {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using delivery::FaultOf;
using delivery::ReleaseFault;

constexpr auto kPatience = 10s; // for the network, when there is a saved release to go on with, or perhaps none at all
constexpr char kVisitPrefix[] = ".visit.";
constexpr std::uint64_t kLargestInstructions = 16 << 20;
constexpr Json::ArrayIndex kMostMirrors = 8;

std::vector<std::string> Sources(const Json::Value &custom, const std::string &own) {
    std::vector<std::string> sources;
    const Json::Value &mirrors = custom.isObject() ? custom["mirrors"] : Json::Value::nullSingleton();
    for (Json::ArrayIndex i = 0; mirrors.isArray() && i < std::min(mirrors.size(), kMostMirrors); ++i) {
        const std::optional<base::Url> mirror =
            mirrors[i].isString() ? base::Url::Parse(mirrors[i].asString()) : std::nullopt;
        if (mirror) {
            sources.push_back(mirror->text() + (mirror->text().ends_with('/') ? "" : "/"));
        }
    }
    sources.push_back(own);
    // Each once: a source that is asked already is not another one to try.
    for (auto source = sources.begin(); source != sources.end(); ++source) {
        sources.erase(std::remove(source + 1, sources.end(), *source), sources.end());
    }
    return sources;
}

} // namespace

ReleaseSession::ReleaseSession(Place place, Pins pins, std::optional<Pin> pin, delivery::Transfers &transfers,
                               std::function<void()> wake)
    : m_place(std::move(place)), m_pins(std::move(pins)), m_wake(std::move(wake)),
      m_now(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now())), m_pin(std::move(pin)),
      m_fetcher(transfers, m_place.metadata, m_pin ? m_pin->folder : fs::path(), [this] { return m_stop.load(); }) {
    const base::ScopedSignalBlock block;
    m_thread = std::thread(&ReleaseSession::Run, this);
}

ReleaseSession::~ReleaseSession() {
    {
        const std::lock_guard lock(m_lock);
        m_stop = true;
    }
    m_work.notify_all();
    m_thread.join();
}

void ReleaseSession::Find(const std::string &name) {
    const std::lock_guard lock(m_lock);
    m_tasks.push_back([this, name] { Report([found = Look(name)](News &news) { news.found.push_back(found); }); });
    m_work.notify_all();
}

void ReleaseSession::Keep(std::string instructions) {
    const std::lock_guard lock(m_lock);
    m_tasks.push_back([this, instructions = std::move(instructions)] {
        // Without it only a start without network is lost.
        std::ignore = base::ReplaceFile(m_pin->folder / kInstructions, instructions, base::Readers::Owner,
                                        base::Durability::Cached);
    });
    m_work.notify_all();
}

ReleaseSession::News ReleaseSession::Collect() {
    const std::lock_guard lock(m_lock);
    return std::exchange(m_news, {});
}

void ReleaseSession::Report(std::function<void(News &)> add) {
    {
        const std::lock_guard lock(m_lock);
        add(m_news);
    }
    m_wake();
}

void ReleaseSession::Run() {
    Report([settled = Settle()](News &news) { news.settled = settled; });
    for (;;) {
        std::unique_lock lock(m_lock);
        m_work.wait(lock, [this] { return m_stop || !m_tasks.empty(); });
        if (m_tasks.empty()) { // what has to be kept is kept, also at the end
            return;
        }
        const std::function<void()> task = std::move(m_tasks.front());
        m_tasks.pop_front();
        lock.unlock();
        task();
    }
}

base::Error ReleaseSession::Refusal(const base::Error &error) const {
    const bool isAdministrators = m_pin && m_pin->source == Pin::Source::Administrator;
    ClockSigns clock = LookAtClock(m_now, m_fetcher.ServerTime());
    struct stat saved {};
    if (m_pin && stat((m_pin->folder / "timestamp.json").c_str(), &saved) == 0) {
        clock.accepted = saved.st_mtime;
    }
    return {RefusalText(m_place.site, error, clock, isAdministrators), error.code};
}

base::Result<ReleaseSession::Settled> ReleaseSession::Settle() {
    return m_pin ? Use() : Visit();
}

base::Result<ReleaseSession::Settled> ReleaseSession::Visit() {
    // A server may answer anything with a page of its own: only what is a root announces a release.
    m_fetcher.GiveUpAt(std::chrono::steady_clock::now() + kPatience);
    const base::Result<std::string> root = m_fetcher.Fetch("root.json", delivery::ReleaseLimits().root, {});
    m_fetcher.GiveUpAt({});
    if (!root || !delivery::TrustedRelease(m_now).StartFrom(*root)) {
        return Settled{};
    }
    std::ignore = base::MakeFolder(m_pins.folder());
    base::CleanStaging(m_pins.folder(), kVisitPrefix);
    const base::StagingFolder staging(m_pins.folder(), kVisitPrefix);
    const fs::path folder = staging.path() / "release";
    const base::Result<void> pinned = staging.error() == 0
                                          ? delivery::ReleaseClient::Pin(folder, *root)
                                          : delivery::Refuse(ReleaseFault::Storage, staging.ErrorText());
    if (!pinned) {
        return base::Fail(Refusal(pinned.error()));
    }
    m_fetcher.SetFolder(folder);
    delivery::ReleaseClient client(folder, m_fetcher);
    if (const base::Result<void> fresh = client.Refresh(m_now); !fresh) {
        return base::Fail(Refusal(fresh.error()));
    }
    base::Result<Pin> pin = m_pins.Adopt(m_place.site, folder);
    if (!pin) {
        return base::Fail(Refusal({pin.error().text, static_cast<int>(ReleaseFault::Storage)}));
    }
    m_pin = std::move(*pin);
    m_fetcher.SetFolder(m_pin->folder);
    m_client.emplace(m_pin->folder, m_fetcher);
    if (const base::Result<void> fresh = m_client->Recall(m_now); !fresh) { // pinned by another start meanwhile
        return Use();
    }
    return Describe({m_place.site + " signs its releases. From now on nothing else is accepted from it; \"lumhost "
                                    "allowed\" shows the fingerprint of its root, to be compared with the operator's"});
}

base::Result<ReleaseSession::Settled> ReleaseSession::Use() {
    m_client.emplace(m_pin->folder, m_fetcher);
    std::error_code error;
    if (fs::exists(m_pin->folder / "timestamp.json", error)) {
        m_fetcher.GiveUpAt(std::chrono::steady_clock::now() + kPatience);
    }
    const base::Result<void> fresh = m_client->Refresh(m_now);
    if (fresh) {
        m_fetcher.GiveUpAt({}); // delegated roles are fetched when they are needed, which may be much later
        return Describe({});
    }
    return FaultOf(fresh.error()) == ReleaseFault::Unreachable && !m_stop ? UseSaved(fresh.error())
                                                                          : base::Fail(Refusal(fresh.error()));
}

base::Result<ReleaseSession::Settled> ReleaseSession::UseSaved(const base::Error &unreachable) {
    const base::Result<void> saved = m_client->Recall(m_now);
    if (saved) {
        return Describe({"whether " + m_place.site +
                         " has a newer release cannot be asked; going on with the saved one, which is good until " +
                         delivery::ShowTime(EarliestExpiry(*m_client->trusted())) +
                         ". The reason: " + unreachable.text});
    }
    if (m_fetcher.HasGivenUp()) { // too early, as it turns out
        m_fetcher.GiveUpAt({});
        const base::Result<void> fresh = m_client->Refresh(m_now);
        return fresh ? base::Result<Settled>(Describe({})) : base::Fail(Refusal(fresh.error()));
    }
    if (FaultOf(saved.error()) == ReleaseFault::Unreachable) { // nothing is saved
        return base::Fail(Refusal(unreachable));
    }
    if (FaultOf(saved.error()) == ReleaseFault::Expired) { // the site may have renewed it long ago
        return base::Fail(
            Refusal({"the saved one has expired (" + saved.error().text.substr(0, saved.error().text.find(';')) +
                         "), and a newer one cannot be fetched: " + unreachable.text,
                     unreachable.code}));
    }
    return base::Fail(Refusal({saved.error().text + " (" + unreachable.text + ")", saved.error().code}));
}

ReleaseSession::Settled ReleaseSession::Describe(std::vector<std::string> notices) const {
    const delivery::TrustedRelease &trusted = *m_client->trusted();
    return {true, Sources(trusted.targets("targets")->custom, m_place.targets), std::move(notices),
            m_place.site + ", " + VersionsOf(trusted)};
}

ReleaseSession::Found ReleaseSession::Look(const std::string &name) {
    Found found{name, m_client->Find(name), {}};
    if (!found.target) {
        found.target = base::Fail(Refusal(found.target.error()));
    } else if (name == kInstructions) {
        base::Result<std::string> saved = base::ReadWhole(m_pin->folder / kInstructions, kLargestInstructions);
        if (saved && delivery::CheckFile(name, found.target->facts, *saved)) {
            found.saved = std::move(*saved);
        }
    }
    return found;
}

} // namespace lumhost
