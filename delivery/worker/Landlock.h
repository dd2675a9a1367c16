#pragma once

namespace delivery {

// Lets this thread make files, folders and links below the open folder `staging`, and open nothing else (landlock(7)).
// The thread must have given up new privileges. The version of Landlock that does it, or 0: then nothing has changed.
unsigned RestrictToFolder(int staging);

} // namespace delivery
