// The transfers of the container: several downloads at once, each to a file of its own, on a thread of their own.
//
// The life of a download: Get puts it in line; the transfer thread fetches it, follows redirects, tries again after a
// pause what may pass, and goes on where it broke off when the server proves that the file is still the same one. What
// arrives is counted, and a few times a second `wake` asks the main thread for a Deliver, which runs the callbacks:
// any number of progress calls, then exactly one done call. While the main thread is away, the counts just add up.
//
// For the whole file:
// - Every function is called on one and the same thread (the main thread), which also runs every callback. Only `wake`
//   is called on the transfer thread (or, for an address that is refused, within Get); it may do no more than pass the
//   word on.
// - Callbacks run one at a time, from Deliver only. A callback may call any function of this class but the destructor.
//   A Deliver inside a callback (a message box that runs the run loop) returns at once, and its work is done after
//   that callback.
// - An address is used without its user and password, and no cookie is kept or sent: a download is what anyone gets.
// - An error text is one or two sentences for a person: the host, what happened and what to do. It holds no path and
//   no query of an address, which may be private.
// - What success does not promise, unless the order says what the file has to be: that the file is what its publisher
//   made. A server that announces fewer bytes than the file has, or ends a reply of unknown length early, is believed.
//   The extension checks hash and signature.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Result.h"
#include "delivery/release/FileCheck.h"

namespace base {
class StagingFolder;
class Url;
} // namespace base

namespace delivery {

class TransferThread;

struct TransferSettings {
    // Where the files are kept while they are needed: in a hidden folder of their own, which goes away with this
    // object. The folder is made, for its owner only, when it is missing. What a killed process left in it is removed.
    std::filesystem::path folder;
    std::uint64_t maxBytes = std::uint64_t{4} << 30; // a larger file is refused
    unsigned parallel = 4;   // downloads at once, fewer as long as these fill the line; the rest wait their turn
    unsigned redirects = 10; // of one download attempt

    std::chrono::milliseconds connectTimeout{15'000}; // includes the TLS handshake
    // A download that brings fewer than stallBytes in stallTimeout has stalled. The wait for the reply counts.
    std::chrono::milliseconds stallTimeout{30'000};
    std::uint64_t stallBytes = 1024;

    // How often a failure that may pass is followed by another try. A try that brings at least 1 MiB of news starts the
    // count afresh, so that a long download survives any number of breaks.
    unsigned retries = 4;
    std::chrono::milliseconds firstPause{500}; // doubles with each try; the true pause is between half of it and it
    std::chrono::milliseconds longestPause{16'000};
    std::chrono::milliseconds longestRetryAfter{60'000}; // a server that asks for a longer pause gets this one

    std::chrono::milliseconds requestTimeout{15'000}; // of a background request, everything included
    std::size_t maxRequests = 64;                     // in line or running; a further one is dropped

    std::string userAgent = "lumhost";
    std::filesystem::path caFile; // the authorities (PEM) to trust instead of the system's; empty for the system's
};

// A file whose digest is known before it comes. All processes that want it at the same time download it once, and one
// goes on where another was interrupted; the others see its bytes as progress. A process waits for another one's
// download only while that brings bytes within stallTimeout. What has been put together from parts is checked against
// the digest, and fetched again as a whole when it differs.
struct KnownFile {
    std::string address; // without what differs from one request for the file to the next
    std::string method;  // of the digest: "sha1" or "sha256"; of a file with another one nothing is known
    std::string digest;  // lower-case hexadecimal
};

// What a file has to be, as a release lists it.
struct ExpectedFile {
    std::string name; // for the texts of errors
    FileFacts facts;
};

// What else holds for a download.
struct TransferOrder {
    std::uint64_t maxBytes = std::numeric_limits<std::uint64_t>::max(); // a larger file is refused
    // Checked while the file arrives: the first byte that is too many ends the download.
    std::optional<ExpectedFile> expected = {};
    // The entity tag of a copy that the caller has; empty for none. The server may answer that it is still right (304).
    std::string knownTag = {};
    std::optional<unsigned> retries = {}; // instead of the settings'
    KnownFile known = {};                 // nothing when its method is empty, or with an expected file
};

struct TransferResult {
    bool ok = false;
    // The complete file when ok. It is removed when the done callback has returned; a callback that wants to keep it
    // moves it away.
    std::filesystem::path file;
    std::string error;   // empty when ok
    std::string cause;   // what happened, without host and remedy: the rest of a sentence
    long httpStatus = 0; // of the last reply; 0 when there was none
    std::string address; // from which the last reply came, after redirects; empty when nothing was asked for

    bool tooLarge = false;                      // refused for its size
    std::optional<base::Error> mismatch = {};   // it is not the expected file: what FileCheck says
    bool unchanged = false;                     // ok, and there is no file: the copy of the known tag is still right
    std::string tag = {};                       // entity tag of the file, as the server sent it; may be a weak one
    std::optional<std::time_t> serverTime = {}; // the clock of the server that sent the last reply
};

class Transfers {
public:
    using Id = std::uint64_t; // never 0, never used twice
    // Bytes newly received, more than 0. A byte of the file is reported once, however often it had to be fetched.
    using Progress = std::function<void(std::uint32_t newBytes)>;
    using Done = std::function<void(const TransferResult &)>;

    // Throws std::system_error only when no thread can be started. A folder that cannot be used makes every Get fail
    // with a text that says so. The proxies (http_proxy, https_proxy, all_proxy, no_proxy) are read here, once.
    Transfers(TransferSettings settings, std::function<void()> wake);
    ~Transfers(); // like CancelAll; background requests that still run are dropped
    Transfers(const Transfers &) = delete;
    Transfers &operator=(const Transfers &) = delete;

    // Starts a download of an absolute http or https address. Either callback may be empty. A failure, also that of an
    // address that cannot be used, is told by `done`, never before this function has returned.
    // A file larger than the order or the settings allow is refused.
    Id Get(const std::string &url, Progress progress, Done done, TransferOrder order = {});

    // Waits for a small file, such as metadata, which does not take a download's turn. To be called on another thread
    // than all else here, by any number of them, and not after the destructor has begun. `stopped` is asked several
    // times a second; true ends the wait, as a failure. The file of the result is the caller's to remove.
    TransferResult Wait(const std::string &url, TransferOrder order, const std::function<bool()> &stopped);

    // A GET in the background, once, whose answer nobody looks at (it is read up to 64 KiB). CancelAll leaves it alone.
    void Request(const std::string &url);
    // Waits until no background request is left, or the time is over (false).
    bool WaitForRequests(std::chrono::milliseconds longest);

    // No callback of it after this has returned; its file is removed soon after. An unknown or ended id is ignored.
    void Cancel(Id id);
    void CancelAll();

    // Downloads whose done callback has not been called yet.
    std::size_t running() const {
        return m_downloads.size();
    }

    // Whether what has arrived of a running download is kept for the next start, should this one be interrupted.
    bool KeepsParts() const;

    // Runs the callbacks that are due.
    void Deliver();

private:
    struct Callbacks {
        Progress progress;
        Done done;
        bool keepsPart = false;
    };
    void DeliverOnce();
    void Report(Id id, std::uint64_t bytes);
    void Finish(Id id, const TransferResult &result);
    // Why nothing can be fetched from there; empty when it can.
    std::string Obstacle(const std::optional<base::Url> &address) const;

    const std::filesystem::path m_cache;           // of known files
    std::string m_folderError;                     // empty: usable
    std::unique_ptr<base::StagingFolder> m_folder; // outlives the thread, which writes there
    std::unique_ptr<TransferThread> m_thread;
    std::map<Id, std::shared_ptr<Callbacks>> m_downloads;
    std::atomic<Id> m_lastId = 0;
    bool m_delivering = false;
    bool m_deliverAgain = false;
};

} // namespace delivery
