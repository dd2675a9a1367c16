// The table of lumsite's command line, from which come its reading, "--help", bash's completion and the manual page.
#pragma once

#include "base/CommandLine.h"

namespace lumsite {

const base::Program &Commands();

} // namespace lumsite
