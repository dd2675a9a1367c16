#include "host/run/Instance.h"

#include <algorithm>
#include <limits>
#include <map>
#include <thread>

#include "base/Files.h"
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

constexpr std::uint64_t kLargestInstructions = 64 << 20;

bool IsInstructionFile(const std::optional<base::Url> &address) {
    const std::string url = address ? address->text() : std::string();
    return url.substr(0, url.find('?')).ends_with(std::string("/") + delivery::kInstructionFileName);
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
                   std::filesystem::path installLock, delivery::Transfers &transfers, delivery::UnpackLimits limits,
                   InstanceOwner &owner)
    : m_extension(extension), m_page(std::move(page)), m_sites(std::move(sites)), m_transfers(transfers),
      m_unpacker(limits), m_owner(owner), m_installLock(std::move(installLock)) {}

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
        m_transfers.Deliver();
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
    for (const delivery::Transfers::Id id : m_downloads) {
        m_transfers.Cancel(id);
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
    const bool instructions = IsInstructionFile(address);
    // The id is known only when Get has returned, and no callback comes before that.
    const auto id = std::make_shared<delivery::Transfers::Id>(0);
    *id = m_transfers.Get(
        allowed ? address->text() : std::string(),
        [this, callback, context, instructions](std::uint32_t bytes) {
            if (!instructions) {
                m_owner.Received(bytes);
            }
            // The count travels in the low 32 bits of the pointer.
            CallBack(callback, context, LUMGetFileNotifyProgress,
                     reinterpret_cast<void *>(std::uintptr_t{bytes})); // NOLINT(performance-no-int-to-ptr)
        },
        [this, id, callback, context, instructions](const delivery::TransferResult &result) {
            m_downloads.erase(*id);
            if (instructions && result.ok) {
                InstructionsCame(result, callback, context);
            } else {
                FinishPackage(result, callback, context);
            }
        },
        std::numeric_limits<std::uint64_t>::max(), allowed ? Known(asked, *address) : delivery::KnownFile{});
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

void Instance::InstructionsCame(delivery::TransferResult result, LUMGetFileCallback callback, void *context) {
    const auto text = base::ReadWhole(result.file, kLargestInstructions);
    const std::optional<base::Url> address = base::Url::Parse(result.address);
    InstructionReview review =
        text ? ReviewInstructions(*text, m_page, address ? address->host() : "") : InstructionReview{};
    m_packages = std::move(review.packages);
    if (review.isForeign) {
        result.ok = false;
        result.error = review.fault;
    }
    if (result.ok && !WaitForLock()) {
        return;
    }
    m_looks = true;
    Finished(result, callback, context);
    m_looks = false;
    m_installLock.Release();
    if (!review.fault.empty() && !review.isForeign && !m_stopped) {
        m_owner.NothingToDo(review.fault);
    }
}

void Instance::FinishPackage(const delivery::TransferResult &result, LUMGetFileCallback callback, void *context) {
    if (!result.ok || WaitForLock()) {
        Finished(result, callback, context);
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

void Instance::Finished(const delivery::TransferResult &result, LUMGetFileCallback callback, void *context) {
    if (!result.ok) {
        m_owner.Problem("a download failed: " + result.error);
    }
    std::string file = result.file.string();
    CallBack(callback, context, LUMGetFileNotifyDone, result.ok ? file.data() : nullptr);
    for (const std::filesystem::path &destination : m_installed) {
        m_owner.Installed(destination);
    }
    m_installed.clear();
    m_owner.Delivered();
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
                            [this, place](std::uint64_t number) { m_owner.Moving(place, number); });
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
