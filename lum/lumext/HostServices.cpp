#include "lum/lumext/HostServices.h"

#include "lum/lumext/lumdownloaditem.h"

std::optional<std::string> HostServices::GetParameter(const char *name) const {
    const char *value = m_table && m_table->pfnGetParameter ? m_table->pfnGetParameter(m_cookie, name) : nullptr;
    return value ? std::optional<std::string>(value) : std::nullopt;
}

bool HostServices::IsParameter(const char *name, const char *word) const {
    return safe_strcasecmp(TextOrNull(GetParameter(name)), word) == 0;
}

void HostServices::OpenURL(const char *target, const char *url) const {
    if (m_table && m_table->pfnOpenURL) {
        m_table->pfnOpenURL(m_cookie, target, url);
    }
}

void HostServices::GetFile(LUMGetFileCallback callback, void *context, const std::string &url) const {
    if (m_table && m_table->pfnGetFile) {
        m_table->pfnGetFile(m_cookie, callback, context, url.c_str());
    }
}

std::optional<int> HostServices::InstallFile(const std::string &package, const std::string &destination,
                                             void *extension) const {
    if (!m_table || !m_table->pfnInstallFile) {
        return std::nullopt;
    }
    return m_table->pfnInstallFile(m_cookie, package.c_str(), destination.c_str(), extension);
}

_NPWindow *HostServices::GetWindow() const {
    return m_table && m_table->pfnGetWindow ? m_table->pfnGetWindow(m_cookie) : nullptr;
}

void HostServices::Stop() const {
    if (m_table && m_table->pfnStop) {
        m_table->pfnStop(m_cookie);
    }
}

void HostServices::ShowMessage(const std::string &text) const {
    if (m_table && m_table->pfnShowMessage) {
        m_table->pfnShowMessage(m_cookie, text.c_str());
    }
}
