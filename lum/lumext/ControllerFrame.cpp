#include "lum/lumext/ControllerFrame.h"

#include "lum/lumext/Guard.h"
#include "lum/lumext/lumext.h"

ControllerFrame::ControllerFrame(CLumExtension &extension) : m_extension(extension) {
    ++m_extension.m_nFrames;
}

ControllerFrame::~ControllerFrame() {
    if (--m_extension.m_nFrames > 0 || !m_extension.m_bLeft) {
        return;
    }
    Guarded("LumExitInstance", [this] { m_extension.ExitInstance(); });
    Guarded("LumExitInstance", [this] { delete &m_extension; });
}

void CLumExtension::Leave() {
    m_bLeft = true;
    if (m_nFrames == 1) {
        return; // the caller's own; it ends everything
    }
    m_installationMgr.EndDownloadProgressShowing();
    Stop();
    m_pLUMInterface = nullptr;
    m_fuzzyWindowMgr.m_lumFuzzyWindowDelegate.m_pLUMInterface = nullptr;
}
