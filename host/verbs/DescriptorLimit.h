#pragma once

namespace lumhost {

// Lets the process have more open files: the extension keeps one for every package that it has hashed. Not as many as
// the system would allow, because a program that is started closes every possible one first.
void RaiseDescriptorLimit();

} // namespace lumhost
