// The launch of the main application, step by step.
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "lum/common/lumutil.h"
#include "lum/common/makeframeworklink.h"
#include "lum/launcher/CPluginView.h"
#include "lum/launcher/AppleEvent.h"
#include "lum/launcher/Application.h"
#include "lum/launcher/Branding.h"
#include "lum/launcher/LaunchOwner.h"
#include "lum/lumext/TraceLines.h"

namespace {

constexpr int kPolls = 152;
constexpr std::chrono::milliseconds kPollInterval(100);
constexpr unsigned long kTicksBeforeOpenEvent = 10; // gives a player that was just started time to listen

bool Contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

void WaitForProcess(const char *processName) {
    for (int poll = 0; poll < kPolls; ++poll) {
        std::this_thread::sleep_for(kPollInterval);
        const unsigned int pid = GetPIDForProcessName(processName);
        if (pid != kNoProcessId) {
            MacInfoTrace(LUM_TRACE_PROCESS, static_cast<int>(pid));
            return;
        }
    }
}

} // namespace

bool CPluginView::LoadMainComponant(const char *componentPath) {
    AnnounceLaunch();
    std::string processName;
    std::string executablePath;
    if (!GetMainComponant(componentPath ? componentPath : "", processName, executablePath)) {
        return false;
    }
    const Product product = ProductOf(processName);
    if (Contains(processName, "Meeting Hall")) {
        MatchBundleNameToProduct(executablePath, ProductType());
    }
    std::string recordAddress;
    if (product == Product::Player && !ReadRecordAddress(recordAddress)) {
        Owner().ShowLaunchFailure(executablePath);
        return false;
    }

    const bool wasRunning = EnsureRunning(processName, executablePath);
    const Focus focus = FocusProcess(processName);
    if (focus == Focus::Vanished) {
        return false;
    }
    if (product == Product::RecordingPlayer && wasRunning) {
        TellPlayerToReconnect();
    }
    if (product == Product::Player) {
        TellPlayerToOpen(recordAddress);
    }
    TellOwner(product);

    if (focus != Focus::Focused) {
        MacWarnTrace("CPluginView::LoadMainComponant,Error when launch main commpent");
        Owner().ShowLaunchFailure(executablePath);
        return false;
    }
    if (mpComponantPSN) {
        SetFrontProcess(mpComponantPSN);
    }
    return true;
}

CPluginView::Product CPluginView::ProductOf(const std::string &processName) {
    if (Contains(processName, "Kelvo Player")) {
        return Product::Player;
    }
    return Contains(processName, "Orb Recording Player") ? Product::RecordingPlayer : Product::Application;
}

bool CPluginView::ReadRecordAddress(std::string &address) const {
    const std::optional<std::string> value = Owner().Parameter("RecordAddress");
    if (!value) {
        MacErrorTrace("CPluginView::LoadMainComponant,cannot get urlstream url from param(RecordAddress)");
        return false;
    }
    address = *value;
    MacInfoTrace("CPluginView::LoadMainComponant,Get RecordAddress= %s", address.c_str());
    return true;
}

bool CPluginView::EnsureRunning(const std::string &processName, const std::string &executablePath) {
    if (GetPIDForProcessName(processName.c_str()) != kNoProcessId) {
        MacInfoTrace("CPluginView::LoadMainComponant,%s is Running", processName.c_str());
        return true;
    }
    MacInfoTrace("CPluginView::LoadMainComponant,%s is not Running", processName.c_str());
    StartAndWait(processName, executablePath);
    return false;
}

void CPluginView::StartAndWait(const std::string &processName, const std::string &executablePath) {
    MacInfoTrace("CPluginView::LoadMainComponant,Create framework links before launch, folder = %s",
                 executablePath.empty() ? "Empty" : executablePath.c_str());
    makeFrameworkLinks(executablePath.c_str());
    const auto pid = StartApplication(executablePath, Owner().UsesPlaceholderWindow());
    if (!pid) {
        return; // there will be no process to wait for
    }
    Owner().Started(*pid);
    WaitForProcess(processName.c_str());
}

CPluginView::Focus CPluginView::FocusProcess(const std::string &processName) {
    const unsigned int pid = GetPIDForProcessName(processName.c_str());
    if (pid == kNoProcessId) {
        return Focus::NotRunning;
    }
    HoldSerialNumber({0, kNoProcess});
    if (GetProcessForPID(static_cast<pid_t>(pid), mpComponantPSN) != noErr) {
        MacErrorTrace("CPluginView::LoadMainComponant,cannot get current %s's processid", processName.c_str());
        ForgetSerialNumber();
        return Focus::Vanished;
    }
    if (SetFrontProcess(mpComponantPSN) != noErr) {
        MacWarnTrace("CPluginView::LoadMainComponant,Launch successfully but bring process to front failed!");
    } else {
        MacInfoTrace("CPluginView::LoadMainComponant,Launch successfully and bring process to front successfully!");
    }
    return Focus::Focused;
}

void CPluginView::TellPlayerToReconnect() {
    MacInfoTrace("CPluginView::LoadMainComponant,Orb is running,send ReOnline event to it!");
    if (!mpComponantPSN) {
        HoldSerialNumber({0, kNoProcess});
    }
    SendAppleEvent(*mpComponantPSN, kReOnlineEvent, true);
}

void CPluginView::TellPlayerToOpen(const std::string &address) const {
    Delay(kTicksBeforeOpenEvent, nullptr);
    SendAppleEvent(mpComponantPSN ? *mpComponantPSN : ProcessSerialNumber{0, kNoProcess}, kOpenUrlEvent, address);
}

// Even when the launch failed: the owner watches for the application all the same.
void CPluginView::TellOwner(Product product) const {
    switch (product) {
    case Product::RecordingPlayer:
        Owner().RecordingPlayerLaunched();
        break;
    case Product::Player:
        Owner().PlayerLaunched();
        break;
    case Product::Application:
        Owner().ApplicationLaunched();
        break;
    }
}

long CPluginView::ProductType() const {
    std::optional<std::string> value = Owner().Parameter("ParmProductType_Value");
    if (!value) {
        value = Owner().Parameter("ProductType");
    }
    return std::strtol(value.value_or("").c_str(), nullptr, 10);
}
