// The process behind a serial number.
#pragma once

#include <ApplicationServices/ApplicationServices.h>

#include <optional>

#include "lum/platform/linux/processes/ProcessTable.h"

// As it is now; nothing when it has ended.
std::optional<RunningProcess> FindRunningProcess(const ProcessSerialNumber &psn);
