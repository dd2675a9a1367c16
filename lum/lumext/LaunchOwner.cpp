#include "lum/launcher/LaunchOwner.h"

#include "lum/lumext/lumext.h"

namespace {

constexpr int kMessageNotStarted = 18;

} // namespace

std::optional<std::string> LaunchOwner::Parameter(const char *name) const {
    return m_extension ? m_extension->Services().GetParameter(name) : std::nullopt;
}

bool LaunchOwner::SuppressesInstallation() const {
    return m_extension && m_extension->m_bSuppressInstallation;
}

bool LaunchOwner::UsesPlaceholderWindow() const {
    return m_extension && m_extension->m_fuzzyWindowMgr.isUsingFuzzyWindow();
}

void LaunchOwner::Started(int processId) const {
    if (m_extension) {
        m_extension->m_nMainComponentPid = processId;
    }
}

void LaunchOwner::ApplicationLaunched() const {
    if (m_extension) {
        m_extension->SetKelvoAppLaunched(true);
    }
}

void LaunchOwner::PlayerLaunched() const {
    if (m_extension) {
        m_extension->SetKelvoPlayerLaunched(true);
    }
}

void LaunchOwner::RecordingPlayerLaunched() const {
    if (m_extension) {
        m_extension->SetOrbPlayerLaunched(true);
    }
}

void LaunchOwner::ShowLaunchFailure(const std::string &executablePath) const {
    if (m_extension) {
        m_extension->ShowMessage(kMessageNotStarted, executablePath.c_str());
    }
}
