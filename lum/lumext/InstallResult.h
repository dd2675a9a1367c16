// What becomes of one downloaded package: the results of LumInstallationMgr::DoItemInstallation, whose integer result
// is one of these values. Sites and support know the numbers.
#pragma once

#include <cstdint>

enum class InstallResult : std::int32_t {
    Installed = 0, // or failed, for an item whose failures are ignored
    Unused1 = -1,  // given by nothing today, known to the messages, as the next one
    Unused2 = -2,
    GeneralFailure = -3,      // a hash that is missing or differs, or an unpack error that is not listed below
    RestartAfterFailure = -4, // the unpacking failed, and the item asks for a restart then
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
    UnpackError20009 = -30, // that 20007 and 20009 cross is no slip
    UnpackError20007 = -31,
    UnpackError20100 = -32,
    SilentFailure = -100, // stops the start without a message; given by nothing today
};
