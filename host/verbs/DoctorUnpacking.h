#pragma once

#include "base/Finding.h"

namespace lumhost {

// Whether packages can be unpacked, and by which protections this kernel holds the process that does it. Starts one.
base::Findings ExamineUnpacking();

} // namespace lumhost
