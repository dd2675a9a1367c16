// The table of lumhost's command line, from which come its reading, "--help", bash's completion and the manual page.
#pragma once

#include "base/CommandLine.h"

namespace lumhost {

const base::Program &Commands();

} // namespace lumhost
