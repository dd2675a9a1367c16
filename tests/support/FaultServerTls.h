// Certificates of the fault server, made when they are needed and never kept.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "tests/support/FaultServer.h"

struct FreeTlsContext {
    void operator()(SSL_CTX *context) const {
        SSL_CTX_free(context);
    }
};
using ScopedTlsContext = std::unique_ptr<SSL_CTX, FreeTlsContext>;

// A server's context with a certificate of that kind; `authority` receives the authority's certificate as PEM.
ScopedTlsContext MakeTlsContext(FaultServer::Tls kind, std::string *authority);
