// One page instance of the extension: its service table, its downloads, its installations.
//
//   Start --> Beat, Deliver, ... --> End
//
// Everything here happens on the main thread. The extension is called by one thing at a time: while a call is inside
// the extension (which may show a panel and run the run loop itself, or have a package unpacked while the windows
// stay alive), Beat and Deliver do nothing; what came is delivered afterwards. The cookie that the extension holds is a
// number, not a pointer, so that a service call after the end finds nothing instead of a dead object.
//
// After the extension asked to be stopped, downloads end without a callback, nothing is installed, shown or opened any
// more; parameters are still answered and requests to the site's log still sent, because the extension logs its stop
// after asking for it. After End every service does nothing.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/Result.h"
#include "host/run/Extension.h"
#include "host/run/InstallLock.h"
#include "host/run/InstructionReview.h"
#include "delivery/page/Page.h"
#include "host/release/SiteDownloads.h"
#include "host/run/PauseMeter.h"
#include "delivery/transfer/Transfers.h"
#include "delivery/package/Unpacker.h"
#include "delivery/worker/UnpackWorker.h"
#include "lum/lumext/lumextInterface.h"

namespace lumhost {

// What an instance asks of the rest of the container. Every function may be called from within a call of the
// extension's; none may call the instance back, other than Stop.
class InstanceOwner {
public:
    virtual ~InstanceOwner() = default;
    // To be shown when the extension's call is over.
    virtual void ShowMessage(const std::string &text) = 0;
    // `url` may be null.
    virtual void SendPage(const char *target, const char *url) = 0;
    virtual void LogRequested(const std::string &url) = 0;
    // A download begins; `url` is as the extension asked for it.
    virtual void DownloadAsked(const std::string &url) = 0;
    // Of a package.
    virtual void Received(std::uint32_t bytes) = 0;
    // The extension has dealt with a download: a problem that was told since the last one has had its effects.
    virtual void Delivered() = 0;
    // The extension has read the instruction file, and nothing can come of it, because of this.
    virtual void NothingToDo(const std::string &why) = 0;
    virtual void Installing(const std::string &name) = 0;
    // Keeps the windows alive until `ended`, which waits for so long at most, answers true. Calls neither Beat nor
    // Deliver.
    virtual void KeepWindowsAlive(const std::function<bool(std::chrono::milliseconds)> &ended) = 0;
    // A component is about to be moved to this path (`number` is that of its file or folder, and `files` are in it): on
    // the installation's thread. Then NotMoved, or Installed.
    virtual void Moving(const std::filesystem::path &destination, std::uint64_t number,
                        std::vector<delivery::UnpackedFile> files) = 0;
    virtual void NotMoved(const std::filesystem::path &destination) = 0;
    // A component is at this path, and the extension has finished with it.
    virtual void Installed(const std::filesystem::path &destination) = 0;
    // An instruction file has arrived, and the extension will be given it, unless the answer is an Error: then the
    // download has failed for it, and the Error is told as a problem. The value is empty, or why nothing can come of
    // the file: NothingToDo is called with it when the extension has read the file.
    virtual base::Result<std::string> InstructionsCame(const delivery::TransferResult &result) = 0;
    virtual void Problem(const std::string &text) = 0;
    virtual void StopAsked() = 0;
};

class Instance {
public:
    // Downloads are made from `sites` (origins) only; packages are unpacked by the program `unpack`. Nothing is
    // installed or launched while another process holds `installLock` (a file). All but the copies must outlive this.
    Instance(const Extension &extension, delivery::Page page, std::vector<std::string> sites, SiteDownloads &downloads,
             delivery::Transfers &transfers, const std::filesystem::path &unpack, std::filesystem::path installLock,
             InstanceOwner &owner);
    ~Instance(); // ends it
    Instance(const Instance &) = delete;
    Instance &operator=(const Instance &) = delete;

    base::Result<void> Start();
    void Beat();
    void Deliver();
    void End();
    // Ends downloads and an installation, as if the extension had asked for it; the extension is not told.
    void Stop();

    // To be called whenever events are handled: a panel that the extension runs is not a pause.
    void WindowsLive();
    std::chrono::milliseconds LongestPause() const {
        return m_pauses.longest();
    }

    bool InCall() const {
        return m_depth > 0;
    }
    // What the instruction file lists; from within InstructionsCame.
    void SetPackages(std::vector<InstructionReview::Package> packages) {
        m_packages = std::move(packages);
    }
    // The application was launched: heartbeats need no lock any more.
    void Launched() {
        m_launched = true;
    }
    bool downloading() const {
        return !m_downloads.empty();
    }
    // Another process installs, and this one has to wait before it launches anything.
    bool waiting() const {
        return m_waits;
    }

private:
    class Call; // counts m_depth

    struct Services; // the functions of the table
    static tagLUMInterface &Table();
    static Instance *Find(void *cookie);

    const char *GetParameter(const char *name) const;
    void OpenUrl(const char *target, const char *url);
    void GetFile(LUMGetFileCallback callback, void *context, const char *url);
    int InstallFile(const char *file, const char *destination);
    void AskStop();

    void Finished(bool instructions, const delivery::TransferResult &result, LUMGetFileCallback callback,
                  void *context);
    // What the instruction file says about the file at this address.
    delivery::KnownFile Known(const std::string &asked, const base::Url &address) const;
    void FinishUnderLock(bool instructions, const delivery::TransferResult &result, LUMGetFileCallback callback,
                         void *context);
    // Waits until no other process stands in the way; false when this one was stopped before.
    bool WaitForLock();
    void CallBack(LUMGetFileCallback callback, void *context, LUMGetFileNotifyMessageType type, void *data);

    const Extension &m_extension;
    const delivery::Page m_page;
    const std::vector<std::string> m_sites;
    SiteDownloads &m_site;
    delivery::Transfers &m_transfers; // for requests
    delivery::UnpackWorker m_worker;
    delivery::Unpacker m_unpacker;
    InstanceOwner &m_owner;

    InstallLock m_installLock;
    bool m_looks = false; // holds the lock only to see what is installed
    bool m_launched = false;
    bool m_waits = false;
    void *m_cookie = nullptr; // null before Start and after End
    void *m_component = nullptr;
    int m_depth = 0;
    PauseMeter m_pauses;
    bool m_stopped = false;
    std::set<SiteDownloads::Id> m_downloads;
    std::vector<InstructionReview::Package> m_packages; // of the instruction file
    std::vector<std::filesystem::path> m_installed;     // in the running call
    delivery::UnpackJob *m_job = nullptr;               // the one that is waited for
};

} // namespace lumhost
