// Is a downloaded package the one that the site published and signed?
#pragma once

#include <optional>
#include <string>

#include "lum/lumext/InstallResult.h"
#include "lum/lumext/lumdownloaditem.h"

struct rsa_st;

// Nothing when the package `file` of `item` has the published hash and a good signature; otherwise the result of the
// installation (GeneralFailure for the hash, NotAuthentic for certificate or signature), traced. `siteLock` is the
// page's parameter; it changes the words of one trace only. `key` is the site's public key: made of the item's
// certification when it is still null, then kept and used for every later item, whatever certification that one has.
// The caller frees it with RSA_free.
std::optional<InstallResult> CheckIntegrity(const CItem &item, const char *file, const std::string &siteLock,
                                            rsa_st *&key);
