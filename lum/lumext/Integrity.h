// Is a downloaded package the one that the site published and signed?
#pragma once

#include "lum/lumext/lumdownloaditem.h"

struct rsa_st;

// 0 when the package `file` of `item` has the published hash and a good signature; otherwise the result code of the
// installation (-3 hash, -8 certificate or signature), traced. `siteLock` is the page's parameter, null when absent; it
// changes the words of one trace only. `key` is the site's public key: made of the item's certification when it is
// still null, then kept and used for every later item, whatever certification that one has. The caller frees it with
// RSA_free.
int CheckIntegrity(const CItem &item, const char *file, const char *siteLock, rsa_st *&key);
