#include "lum/launcher/CPluginView.h"

#include <utility>

#include "lum/common/lumutil.h"
#include "lum/launcher/LaunchOwner.h"
#include "lum/common/ProductTable.h"

CPluginView::CPluginView(CLumExtension *owner) : m_pExtension(owner) {}

CPluginView::~CPluginView() {
    if (Owner().SuppressesInstallation()) {
        CloseLoadedComponent();
    }
    ForgetSerialNumber();
}

bool CPluginView::Initialize() {
    return false;
}

bool CPluginView::LoadProcAddress(char *) {
    return false;
}

void CPluginView::Create() {}

bool CPluginView::CreateContentPane() {
    return true;
}

void CPluginView::Paint() {}

std::int16_t CPluginView::SetWindow(_NPWindow *window) {
    mNetscapeWindow = window;
    if (mpfnNPTable.pfnQXNP_SetPort) {
        mpfnNPTable.pfnQXNP_SetPort(window);
    }
    return 0;
}

unsigned char CPluginView::Handle_Event(EventRecord &event, unsigned char flag) {
    if (!mNetscapeWindow || !Owner().SuppressesInstallation() || !mpfnNPTable.pfnQXNP_HandleEvent) {
        return 0;
    }
    return static_cast<unsigned char>(mpfnNPTable.pfnQXNP_HandleEvent(&event, flag));
}

bool CPluginView::UnloadMainComponant() {
    CloseLoadedComponent();
    return true;
}

void CPluginView::CloseLoadedComponent() {
    if (mpfnNPTable.pfnQXNP_Close) {
        mpfnNPTable.pfnQXNP_Close(this);
    }
    mpfnNPTable = {};
}

bool CPluginView::GetMainComponant(std::string componentPath, std::string &processName, std::string &executablePath) {
    if (componentPath.empty()) {
        return false;
    }
    const auto application = FindMainApplication(
        componentPath, [this] { return Owner().Parameter("ParmSiteConfigExt_Value").value_or(""); });
    executablePath = std::move(componentPath);
    if (!application) {
        return false;
    }
    replaceall(executablePath, std::string(application->componentKey), "");
    executablePath += application->executablePath;
    processName = application->processName;
    return true;
}

bool CPluginView::IsMainComponantRunning(std::string componentPath) {
    std::string processName;
    std::string executablePath;
    return GetMainComponant(std::move(componentPath), processName, executablePath) &&
           GetPIDForProcessName(processName.c_str()) != kNoProcessId;
}

void CPluginView::SetComponantAsFrontProcess() {
    MacInfoTrace("CPluginView::SetComponantAsFrontProcess");
    if (mpComponantPSN) {
        SetFrontProcess(mpComponantPSN);
        ForgetSerialNumber();
    }
}

void CPluginView::ForgetSerialNumber() {
    delete mpComponantPSN;
    mpComponantPSN = nullptr;
}

void CPluginView::HoldSerialNumber(const ProcessSerialNumber &psn) {
    ForgetSerialNumber();
    mpComponantPSN = new ProcessSerialNumber(psn);
}

LaunchOwner CPluginView::Owner() const {
    return LaunchOwner(m_pExtension);
}
