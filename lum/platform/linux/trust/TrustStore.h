// The certificates that this computer and its user have an opinion on.
#pragma once

#include <vector>

#include "lum/platform/linux/trust/Certificate.h"

namespace sec {

struct TrustStore {
    std::vector<Certificate> systemRoots;
    std::vector<Certificate> userTrusted;
    std::vector<Certificate> userRefused;
};

// Read again at each call, so that a change counts at once. A file or folder that cannot be read, holds no certificate
// or is larger than 1 MiB counts as empty. `withTrusted`: also the certificates that a chain may end in, which are
// many.
TrustStore ReadTrustStore(bool withTrusted);

// For tests alone: stands for the system's roots while it lives. Nothing outside a program's own code can reach it.
class SystemRootsForTest {
public:
    explicit SystemRootsForTest(std::vector<Certificate> roots);
    ~SystemRootsForTest();
    SystemRootsForTest(const SystemRootsForTest &) = delete;
    SystemRootsForTest &operator=(const SystemRootsForTest &) = delete;

private:
    std::vector<Certificate> m_roots;
};

} // namespace sec
