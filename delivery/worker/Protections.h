#pragma once

namespace delivery {

// What holds the process that unpacks, on this kernel.
struct Protections {
    // The version of Landlock by which it can write to its staging folder only, and read nothing; 0: none.
    unsigned landlock = 0;
    bool systemCalls = false; // only those that unpacking needs (seccomp)
    bool memory = false;      // a limit for all its memory
};

} // namespace delivery
