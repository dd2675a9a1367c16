#include "host/run/Instance.h"

#include <algorithm>
#include <limits>
#include <map>
#include <thread>

#include "delivery/instructions/InstructionFile.h"
#include "host/run/EndReason.h"

namespace lumhost {

namespace {

// The running ones, by the cookie that the extension was given.
std::map<void *, Instance *> &Instances() {
    static std::map<void *, Instance *> instances;
    return instances;
}

void *NewCookie() {
    static std::uintptr_t last = 0;
    return reinterpret_cast<void *>(++last); // NOLINT(performance-no-int-to-ptr): never followed
}

void Unused() {}

// Nothing may be thrown into the extension; a service that throws counts as not called.
template <typename Function> auto Guarded(Function function, decltype(function()) otherwise) {
    try {
        return function();
    } catch (...) {
        return otherwise;
    }
}

template <typename Function> void Guarded(Function function) {
    try {
        function();
    } catch (...) {
    }
}

} // namespace

class Instance::Call {
public:
    explicit Call(Instance &instance) : m_instance(instance) {
        if (m_instance.m_depth++ == 0) {
            m_instance.m_pauses.Away();
        }
    }
    ~Call() {
        if (--m_instance.m_depth == 0) {
            m_instance.m_pauses.Back();
        }
    }
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

private:
    Instance &m_instance;
};

struct Instance::Services {
    static const char *GetParameter(void *cookie, const char *name) {
        return Guarded(
            [&]() -> const char * {
                const Instance *instance = Find(cookie);
                return instance && name ? instance->GetParameter(name) : nullptr;
            },
            nullptr);
    }
    static void OpenURL(void *cookie, const char *target, const char *url) {
        Guarded([&] {
            if (Instance *instance = Find(cookie)) {
                instance->OpenUrl(target, url);
            }
        });
    }
    static void GetFile(void *cookie, LUMGetFileCallback callback, void *context, const char *url) {
        Guarded([&] {
            if (Instance *instance = Find(cookie)) {
                instance->GetFile(callback, context, url);
            }
        });
    }
    static int InstallFile(void *cookie, const char *file, const char *destination, void *extension) {
        (void)extension;
        return Guarded(
            [&]() -> int {
                Instance *instance = Find(cookie);
                return instance ? instance->InstallFile(file, destination) : delivery::kUnpackInterrupted;
            },
            delivery::kUnpackInterrupted);
    }
    static struct _NPWindow *GetWindow(void *cookie) {
        (void)cookie;
        return nullptr; // the container has no page area to draw in
    }
    static void Stop(void *cookie) {
        Guarded([&] {
            if (Instance *instance = Find(cookie)) {
                instance->AskStop();
            }
        });
    }
    static void ShowMessage(void *cookie, const char *message) {
        Guarded([&] {
            Instance *instance = Find(cookie);
            if (instance && message && !instance->m_stopped) {
                instance->m_owner.ShowMessage(message);
            }
        });
    }
};

tagLUMInterface &Instance::Table() {
    static tagLUMInterface table = {
        Unused,
        Unused,
        Unused,
        Unused,
        Unused,
        Unused,
        Unused,
        Unused,
        Services::GetParameter,
        Unused,
        Services::OpenURL,
        Services::GetFile,
        Services::InstallFile,
        Unused,
        Services::GetWindow,
        Services::Stop,
        Unused,
        Services::ShowMessage,
    };
    return table;
}

Instance *Instance::Find(void *cookie) {
    const auto found = Instances().find(cookie);
    return found == Instances().end() ? nullptr : found->second;
}

Instance::Instance(const Extension &extension, delivery::Page page, std::vector<std::string> sites,
                   SiteDownloads &downloads, delivery::Transfers &transfers, const std::filesystem::path &unpack,
                   std::filesystem::path installLock, InstanceOwner &owner)
    : m_extension(extension), m_page(std::move(page)), m_sites(std::move(sites)), m_site(downloads),
      m_transfers(transfers), m_worker(unpack),
      m_unpacker([this](const auto &order, const auto &stop) { return m_worker.Unpack(order, stop); }), m_owner(owner),
      m_installLock(std::move(installLock)) {}

Instance::~Instance() {
    End();
}

base::Result<void> Instance::Start() {
    m_cookie = NewCookie();
    Instances()[m_cookie] = this;
    const Call call(*this);
    const std::uint32_t code = m_extension.initInstance(m_cookie, &Table(), &m_component);
    if (code == kLUMNoError && m_component) {
        m_extension.setWindow(m_cookie, nullptr, m_component);
        return {};
    }
    Instances().erase(m_cookie);
    m_cookie = nullptr;
    m_component = nullptr;
    return base::Fail("the extension did not start (code " + std::to_string(code) + ")");
}

void Instance::Beat() {
    if (!m_component || m_depth > 0) {
        return;
    }
    // When everything is installed, the next heartbeat launches the application.
    const bool mayLaunch = !m_packages.empty() && m_downloads.empty() && !m_launched && !m_stopped;
    m_waits = mayLaunch && !m_installLock.Take();
    if (m_waits) {
        return;
    }
    {
        const Call call(*this);
        m_extension.heartbeat(m_cookie, m_component);
    }
    m_installLock.Release();
}

void Instance::Deliver() {
    if (m_depth == 0) {
        m_site.Deliver();
    }
}

void Instance::End() {
    if (!m_component) {
        return;
    }
    Stop();
    {
        const Call call(*this);
        m_extension.exitInstance(m_cookie, m_component);
    }
    Instances().erase(m_cookie);
    m_component = nullptr;
    m_cookie = nullptr;
}

void Instance::WindowsLive() {
    if (m_depth > 0) {
        if (m_looks) { // the user is asked about a certificate, perhaps for long
            m_installLock.Release();
        }
        m_pauses.Back();
        m_pauses.Away();
    }
}

void Instance::Stop() {
    m_stopped = true;
    for (const SiteDownloads::Id id : m_downloads) {
        m_site.Cancel(id);
    }
    m_downloads.clear();
    if (m_job) {
        m_job->Cancel();
    }
}

const char *Instance::GetParameter(const char *name) const {
    const std::string *value = m_page.Find(name);
    return value ? value->c_str() : nullptr;
}

void Instance::OpenUrl(const char *target, const char *url) {
    if (!target) {
        const std::optional<base::Url> address = url ? m_page.Resolve(url) : std::nullopt;
        if (address) {
            m_transfers.Request(address->text());
            m_owner.LogRequested(address->text());
        }
        return;
    }
    if (!m_stopped) {
        m_owner.SendPage(target, url);
    }
}

void Instance::GetFile(LUMGetFileCallback callback, void *context, const char *url) {
    if (m_stopped || !callback) {
        return;
    }
    const std::string asked = url ? url : "";
    const std::optional<base::Url> address = m_page.Resolve(asked);
    // An address that may not be used fails the same way as any other download: later, by its callback.
    const bool allowed = address && std::find(m_sites.begin(), m_sites.end(), address->Origin()) != m_sites.end();
    if (address && !allowed) {
        m_owner.Problem("nothing is downloaded from " + address->Origin() + ": the page was not allowed to use it");
    }
    m_owner.DownloadAsked(asked);
    const bool instructions = delivery::IsInstructionAddress(asked);
    if (!instructions) {
        m_worker.Prepare();
    }
    // The id is known only when Get has returned, and no callback comes before that.
    const auto id = std::make_shared<SiteDownloads::Id>(0);
    *id = m_site.Get(
        asked, allowed ? address : std::nullopt,
        [this, callback, context, instructions](std::uint32_t bytes) {
            if (!instructions) {
                m_owner.Received(bytes);
            }
            // The count travels in the low 32 bits of the pointer.
            CallBack(callback, context, LUMGetFileNotifyProgress,
                     reinterpret_cast<void *>(std::uintptr_t{bytes})); // NOLINT(performance-no-int-to-ptr)
        },
        [this, id, instructions, callback, context](const delivery::TransferResult &result) {
            m_downloads.erase(*id);
            FinishUnderLock(instructions, result, callback, context);
        },
        allowed && !instructions ? Known(asked, *address) : delivery::KnownFile{});
    m_downloads.insert(*id);
}

delivery::KnownFile Instance::Known(const std::string &asked, const base::Url &address) const {
    // The extension adds a number to every address, so that no cache answers.
    constexpr std::string_view kNumber = "?random=";
    const std::string *const root = m_page.Find("LumUrlRoot");
    const std::string file = asked.substr(0, asked.rfind(kNumber));
    for (const InstructionReview::Package &package : m_packages) {
        if (root && file == *root + (root->ends_with('/') ? "" : "/") + package.url) {
            const std::string whole = address.text();
            return {whole.substr(0, whole.rfind(kNumber)), package.hashMethod, package.hashValue};
        }
    }
    return {};
}

void Instance::FinishUnderLock(bool instructions, const delivery::TransferResult &result, LUMGetFileCallback callback,
                               void *context) {
    if (!result.ok || WaitForLock()) {
        m_looks = instructions;
        Finished(instructions, result, callback, context);
        m_looks = false;
    }
    m_installLock.Release();
}

bool Instance::WaitForLock() {
    constexpr std::chrono::milliseconds kPause(30);
    if (!m_installLock.Take()) {
        m_owner.KeepWindowsAlive([&](std::chrono::milliseconds) {
            if (m_stopped || m_installLock.Take()) {
                return true;
            }
            std::this_thread::sleep_for(kPause);
            return false;
        });
    }
    return !m_stopped;
}

void Instance::Finished(bool instructions, const delivery::TransferResult &result, LUMGetFileCallback callback,
                        void *context) {
    base::Result<std::string> good =
        result.ok ? base::Result<std::string>("")
                  : base::Fail(result.mismatch ? result.error : "a download failed: " + result.error);
    if (good && instructions) {
        good = m_owner.InstructionsCame(result);
    }
    if (!good) {
        m_owner.Problem(good.error().text);
    }
    std::string file = result.file.string();
    CallBack(callback, context, LUMGetFileNotifyDone, good ? file.data() : nullptr);
    for (const std::filesystem::path &destination : m_installed) {
        m_owner.Installed(destination);
    }
    m_installed.clear();
    m_owner.Delivered();
    if (good && !good->empty() && !m_stopped) {
        m_owner.NothingToDo(*good);
    }
    if (m_downloads.empty()) {
        m_unpacker.Rest();
    }
}

void Instance::CallBack(LUMGetFileCallback callback, void *context, LUMGetFileNotifyMessageType type, void *data) {
    const Call call(*this);
    callback(nullptr, context, type, data);
}

int Instance::InstallFile(const char *file, const char *destination) {
    if (m_stopped) {
        return delivery::kUnpackInterrupted;
    }
    if (!file || !destination) {
        return delivery::kUnpackBadArgument;
    }
    const std::filesystem::path place(destination);
    m_owner.Installing(place.filename().string());
    delivery::UnpackJob job(m_unpacker, file, place,
                            [this, place](std::uint64_t number, std::vector<delivery::UnpackedFile> files) {
                                m_owner.Moving(place, number, std::move(files));
                            });
    m_job = &job;
    m_pauses.Back();
    m_owner.KeepWindowsAlive([&](std::chrono::milliseconds longest) { return job.Wait(longest); });
    m_pauses.Away();
    m_job = nullptr;
    if (job.result()) {
        m_installed.push_back(place);
        return delivery::kUnpackOk;
    }
    m_owner.NotMoved(place);
    if (!m_stopped) {
        m_owner.Problem("a package was not installed: " + job.result().error().text + ". " +
                        RemedyOfUnpacking(job.result().error().code));
    }
    return job.result().error().code;
}

void Instance::AskStop() {
    Stop();
    m_owner.StopAsked();
}

} // namespace lumhost
