// The process that unpacks, from within. It does what it is asked in children of its own: each gives up everything that
// packages do not need (Confinement.h) and unpacks into one staging folder, one package after the other, until its user
// closes the socket to it. The parent of them reads no package.
#pragma once

namespace delivery {

// Serves the requests of WorkerMessage.h that come through `control` (MakeChannel) until the peer is gone; what is
// being unpacked then ends at once. The process must have one thread. The exit status of the process.
int ServeUnpacking(int control);

} // namespace delivery
