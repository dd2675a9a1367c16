// The last step of an installation: the finished component takes its place.
#pragma once

#include <string>

namespace delivery {

// Moves `name` of the folder `staging` to the same name of the folder `parent`; what stood there, if anything, is then
// in `staging` or in the folder that this lies in. One step where the file system can do that, else as short a gap as
// can be. Throws UnpackFailure with both as they were.
void MoveIntoPlace(int staging, int parent, const std::string &name);

} // namespace delivery
