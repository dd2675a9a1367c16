#include "delivery/transfer/Transfers.h"

#include <algorithm>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <utility>

#include "delivery/transfer/CachedFile.h"
#include "delivery/transfer/TransferThread.h"
#include "base/Digest.h"
#include "base/Disk.h"
#include "base/Files.h"
#include "base/StagingFolder.h"

namespace delivery {

namespace {

constexpr char kFolderPrefix[] = ".lumhost-transfers.";
constexpr std::chrono::milliseconds kAskingWhetherStopped{100};

// A result on its way from the transfer thread to a thread that waits for it, unless that has given up.
class Awaited {
public:
    void Put(TransferResult result) {
        const std::lock_guard lock(m_lock);
        m_result = std::move(result);
        m_come.notify_all();
    }
    std::optional<TransferResult> WaitAWhile() {
        std::unique_lock lock(m_lock);
        m_come.wait_for(lock, kAskingWhetherStopped, [this] { return m_result.has_value(); });
        return m_result;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_come;
    std::optional<TransferResult> m_result;
};

TransferResult Failed(const std::string &error) {
    TransferResult result;
    result.error = result.cause = error;
    return result;
}

// Empty when no digest is known.
std::string NameInCache(const KnownFile &known) {
    return known.method == "sha1" || known.method == "sha256"
               ? base::DigestOfText(known.address + "\n" + known.method + "\n" + known.digest)
               : "";
}

} // namespace

Transfers::Transfers(TransferSettings settings, std::function<void()> wake) : m_cache(settings.folder / "packages") {
    if (const base::Result<void> made = base::MakeFolder(settings.folder); !made) {
        m_folderError = settings.folder.string() + ": " + base::DiskErrorText(made.error().code);
    } else {
        base::CleanStaging(settings.folder, kFolderPrefix);
        CachedFile::RemoveOld(m_cache);
        m_folder = std::make_unique<base::StagingFolder>(settings.folder, kFolderPrefix);
        m_folderError = m_folder->error() == 0 ? "" : m_folder->ErrorText();
    }
    m_thread = std::make_unique<TransferThread>(std::move(settings), std::move(wake));
}

Transfers::~Transfers() = default;

std::string Transfers::Obstacle(const std::optional<base::Url> &address) const {
    if (!m_folderError.empty()) {
        return "nothing can be stored in the folder for downloads, " + m_folderError +
               ". Free some space or set the folder's permissions, and try again.";
    }
    return address ? "" : "this is not a web address (http or https), so nothing was fetched. Check the page.";
}

Transfers::Id Transfers::Get(const std::string &url, Progress progress, Done done, TransferOrder order) {
    const Id id = ++m_lastId;
    m_downloads[id] = std::make_shared<Callbacks>(Callbacks{std::move(progress), std::move(done)});
    const std::optional<base::Url> address = base::Url::Parse(url);
    if (const std::string obstacle = Obstacle(address); !obstacle.empty()) {
        m_thread->Refuse(id, obstacle);
    } else {
        const std::string name = order.expected ? "" : NameInCache(order.known);
        std::optional<SharedFile> shared;
        if (!name.empty()) {
            shared = {m_cache, name, order.known};
        }
        m_thread->Start(id, *address, m_folder->path() / std::to_string(id), std::move(order), std::move(shared));
    }
    return id;
}

TransferResult Transfers::Wait(const std::string &url, TransferOrder order, const std::function<bool()> &stopped) {
    const std::optional<base::Url> address = base::Url::Parse(url);
    if (const std::string obstacle = Obstacle(address); !obstacle.empty()) {
        return Failed(obstacle);
    }
    const Id id = ++m_lastId;
    const auto awaited = std::make_shared<Awaited>();
    m_thread->Start(id, *address, m_folder->path() / std::to_string(id), std::move(order), std::nullopt,
                    [awaited](const TransferResult &result) { awaited->Put(result); });
    while (!stopped()) {
        if (std::optional<TransferResult> result = awaited->WaitAWhile()) {
            return *result;
        }
    }
    m_thread->Cancel({id});
    return Failed("stopped");
}

void Transfers::Request(const std::string &url) {
    if (const std::optional<base::Url> address = base::Url::Parse(url)) {
        m_thread->Request(*address);
    }
}

bool Transfers::WaitForRequests(std::chrono::milliseconds longest) {
    return m_thread->WaitForRequests(longest);
}

void Transfers::Cancel(Id id) {
    if (m_downloads.erase(id)) {
        m_thread->Cancel({id});
    }
}

void Transfers::CancelAll() {
    std::vector<Id> ids;
    for (const auto &[id, callbacks] : m_downloads) {
        ids.push_back(id);
    }
    m_downloads.clear();
    if (!ids.empty()) {
        m_thread->Cancel(std::move(ids));
    }
}

bool Transfers::KeepsParts() const {
    return std::ranges::any_of(m_downloads, [](const auto &download) { return download.second->keepsPart; });
}

void Transfers::Deliver() {
    if (m_delivering) {
        m_deliverAgain = true;
        return;
    }
    m_delivering = true;
    do {
        m_deliverAgain = false;
        DeliverOnce();
    } while (m_deliverAgain);
    m_delivering = false;
}

void Transfers::DeliverOnce() {
    for (const auto &[id, report] : m_thread->Collect()) {
        if (const auto found = m_downloads.find(id); found != m_downloads.end() && report.news > 0) {
            found->second->keepsPart = report.keepsPart;
        }
        Report(id, report.news);
        if (report.result) {
            Finish(id, *report.result);
        }
    }
}

void Transfers::Report(Id id, std::uint64_t bytes) {
    while (bytes > 0) {
        const auto found = m_downloads.find(id); // anew each time: the callback may have cancelled it
        if (found == m_downloads.end() || !found->second->progress) {
            return;
        }
        const std::shared_ptr<Callbacks> callbacks = found->second;
        const auto part = std::min<std::uint64_t>(bytes, std::numeric_limits<std::uint32_t>::max());
        bytes -= part;
        callbacks->progress(static_cast<std::uint32_t>(part));
    }
}

void Transfers::Finish(Id id, const TransferResult &result) {
    if (const auto found = m_downloads.extract(id); !found.empty() && found.mapped()->done) {
        found.mapped()->done(result);
    }
    if (result.ok) {
        std::error_code ignored;
        std::filesystem::remove(result.file, ignored);
    }
}

} // namespace delivery
