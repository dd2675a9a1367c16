// The one call of the Process Manager that needs the window server.
#include <ApplicationServices/ApplicationServices.h>

#include "lum/platform/linux/processes/SerialNumber.h"
#include "lum/platform/linux/windows/FrontWindow.h"

OSErr SetFrontProcess(const ProcessSerialNumber *psn) {
    if (!psn) {
        return paramErr;
    }
    const auto process = FindRunningProcess(*psn);
    if (!process) {
        return procNotFound;
    }
    switch (ActivateWindowOfProcess(process->pid)) {
    case Activation::Requested:
        return noErr;
    case Activation::NoWindow:
        return appIsDaemon;
    case Activation::NoWindowServer:
        break;
    }
    return connectionInvalid;
}
