// The release of one start: brought up to date, and asked for targets, on a thread of its own.
//
//   the site is pinned        refresh; without network the saved release is used until it expires
//   it is not, but https      a root that the site publishes is pinned, when all of the release is good
//   otherwise                 unsigned
//
// All functions belong to the main thread; `wake` is called on the session's.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "delivery/release/ReleaseClient.h"
#include "host/release/MetadataFetcher.h"
#include "host/release/Pins.h"

namespace lumhost {

// The instruction file, as a release names it.
inline constexpr char kInstructions[] = "lummac.ini";

class ReleaseSession {
public:
    struct Place {
        std::string site;     // the release's
        std::string metadata; // address of its folder, with "/" at the end
        std::string targets;  // likewise
    };
    struct Settled {
        bool isSigned = false;
        std::vector<std::string> sources; // addresses of targets, mirrors first
        std::vector<std::string> notices; // for the user
        std::string inUse;                // for the report; empty when not signed
    };
    struct Found {
        std::string name;
        base::Result<delivery::ReleaseTarget> target;
        std::optional<std::string> saved; // its bytes, checked, when they are at hand
    };
    // At most one `settled`, first. Errors are sentences for the user.
    struct News {
        std::optional<base::Result<Settled>> settled;
        std::vector<Found> found;
    };

    // Throws std::system_error when no thread can be started. `transfers` must outlive this.
    ReleaseSession(Place place, Pins pins, std::optional<Pin> pin, delivery::Transfers &transfers,
                   std::function<void()> wake);
    ~ReleaseSession(); // ends what runs
    ReleaseSession(const ReleaseSession &) = delete;
    ReleaseSession &operator=(const ReleaseSession &) = delete;

    // Once it is settled and signed: looks for the target; the answer is among the news.
    void Find(const std::string &name);
    // Saves the instruction file for starts without network.
    void Keep(std::string instructions);
    News Collect();

private:
    void Run();
    base::Result<Settled> Settle();
    base::Result<Settled> Visit();
    base::Result<Settled> Use();
    base::Result<Settled> UseSaved(const base::Error &unreachable);
    Settled Describe(std::vector<std::string> notices) const;
    Found Look(const std::string &name);
    base::Error Refusal(const base::Error &error) const;
    void Report(std::function<void(News &)> add);

    const Place m_place;
    const Pins m_pins;
    const std::function<void()> m_wake;
    const delivery::ReleaseTime m_now;

    std::mutex m_lock;
    std::condition_variable m_work;
    std::deque<std::function<void()>> m_tasks;
    News m_news;
    std::atomic<bool> m_stop = false;

    // The thread's own:
    std::optional<Pin> m_pin;
    MetadataFetcher m_fetcher;
    std::optional<delivery::ReleaseClient> m_client;

    std::thread m_thread; // last: it uses all of the above
};

} // namespace lumhost
