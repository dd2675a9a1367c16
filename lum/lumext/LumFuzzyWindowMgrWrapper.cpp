#include "lum/common/lumutil.h"
#include "lum/lumext/LumFuzzyWindowDelegate.h"

LumFuzzyWindowMgrWrapper::LumFuzzyWindowMgrWrapper() {
    MacInfoTrace("LumFuzzyWindowMgrWrapper::LumFuzzyWindowMgrWrapper");
}

LumFuzzyWindowMgrWrapper::~LumFuzzyWindowMgrWrapper() {
    MacInfoTrace("LumFuzzyWindowMgrWrapper::~LumFuzzyWindowMgrWrapper");
    if (m_pLumFuzzyWindowMgr) {
        destroyLumFuzzyWindow(m_pLumFuzzyWindowMgr);
        m_pLumFuzzyWindowMgr = nullptr;
    }
}

void LumFuzzyWindowMgrWrapper::initWithParam(const tagFuzzyWindowInstallionParam &param) {
    MacInfoTrace("LumFuzzyWindowMgrWrapper::initWithParam");
    m_lumFuzzyWindowDelegate.initWithParam(param);
    m_pLumFuzzyWindowMgr = createLumFuzzyWindow(&m_lumFuzzyWindowDelegate);
}

bool LumFuzzyWindowMgrWrapper::isUsingFuzzyWindow() const {
    return m_lumFuzzyWindowDelegate.isUsingFuzzyWindow();
}

void LumFuzzyWindowMgrWrapper::start() {
    MacInfoTrace("LumFuzzyWindowMgrWrapper::start");
    if (m_pLumFuzzyWindowMgr) {
        m_pLumFuzzyWindowMgr->start();
    }
}

void LumFuzzyWindowMgrWrapper::stop() {
    MacInfoTrace("LumFuzzyWindowMgrWrapper::stop");
    if (m_pLumFuzzyWindowMgr) {
        m_pLumFuzzyWindowMgr->stop();
    }
}

void LumFuzzyWindowMgrWrapper::noticeDownloadSuccess() {
    MacInfoTrace("LumFuzzyWindowMgrWrapper::noticeDownloadSuccess");
    if (m_pLumFuzzyWindowMgr) {
        m_pLumFuzzyWindowMgr->noticeDownloadSuccess();
    }
}

bool LumFuzzyWindowMgrWrapper::isReady() {
    return m_pLumFuzzyWindowMgr && m_pLumFuzzyWindowMgr->isReady();
}

bool LumFuzzyWindowMgrWrapper::isNeedUpdateLumIni() {
    return m_pLumFuzzyWindowMgr && m_pLumFuzzyWindowMgr->isNeedUpdateLumIni();
}

std::string LumFuzzyWindowMgrWrapper::getSavedLumIniPath() {
    return m_pLumFuzzyWindowMgr ? m_pLumFuzzyWindowMgr->getSavedLumIniPath() : std::string();
}

void LumFuzzyWindowMgrWrapper::saveLumIniFile(const char *path) {
    MacInfoTrace("LumFuzzyWindowMgrWrapper::saveLumIniFile file=%s", path ? path : "(null)");
    if (m_pLumFuzzyWindowMgr) {
        m_pLumFuzzyWindowMgr->saveLumIniFile(path);
    }
}

void LumFuzzyWindowMgrWrapper::setTotalDownloadSize(unsigned int bytes) {
    if (m_pLumFuzzyWindowMgr) {
        m_pLumFuzzyWindowMgr->setTotalDownloadSize(bytes);
    }
}

void LumFuzzyWindowMgrWrapper::updateDownloadedSize(unsigned int bytes) {
    if (m_pLumFuzzyWindowMgr) {
        m_pLumFuzzyWindowMgr->updateDownloadedSize(bytes);
    }
}
