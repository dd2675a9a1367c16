// The outcome of installing one downloaded package. LumInstallationMgr::DoItemInstallation returns these values as
// integers. Sites and support teams know the numbers.
#pragma once

#include <cstdint>

enum class InstallResult : std::int32_t {
    Installed = 0, // or failed, for an item whose failures are ignored
    Unused1 = -1,  // not returned today; like the next one it has a message
    Unused2 = -2,
    GeneralFailure = -3,      // the hash is missing or differs, or an unpack error without a value of its own
    RestartAfterFailure = -4, // unpacking failed, and the item wants a restart in that case
    NothingToInstall = -5,    // no item, or no file
    NoHostTable = -7,         // the host cannot unpack
    NotAuthentic = -8,        // certificate or signature missing or wrong
    UnpackError1 = -10,       // the host's unpack errors, by number
    UnpackError2 = -11,
    UnpackError3 = -12,
    UnpackError4 = -13,
    UnpackError5 = -14,
    UnpackError6 = -15,
    UnpackError12 = -16,
    UnpackError20009 = -30, // 20009 and 20007 are swapped on purpose
    UnpackError20007 = -31,
    UnpackError20100 = -32,
    SilentFailure = -100, // ends the start without a message; not returned today
};
