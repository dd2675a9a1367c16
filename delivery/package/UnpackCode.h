#pragma once

namespace delivery {

// What an installation ends with. The extension has messages of its own for all of these.
enum UnpackCode : int {
    kUnpackOk = 0,
    // The package is missing or cannot be read. Remedy: start again; check the disk.
    kUnpackNoPackage = 1,
    // The package is not an archive, or of a kind that is not read. Remedy: the publisher packs it again.
    kUnpackNoArchive = 2,
    // The archive ends early, contradicts itself or asks for a password. Remedy: the publisher packs it again.
    kUnpackDamaged = 3,
    // An entry is refused (above). Remedy: the publisher leaves it out or changes it.
    kUnpackRefusedEntry = 4,
    // More bytes, entries or memory than the limits allow. Remedy: the publisher makes it smaller.
    kUnpackTooLarge = 5,
    // No top-level entry, more than one, or one of another name than the destination's. Remedy: the publisher packs the
    // component, and nothing beside it, under its name.
    kUnpackNotOneComponent = 6,
    // The disk or the user's share of it is full. Remedy: free some space.
    kUnpackNoSpace = 12,
    // The destination is not an absolute path that ends in a name. Remedy: the page or the item names another place.
    kUnpackBadArgument = 20007,
    // The folder of the destination is missing or cannot be written. Remedy: set its permissions.
    kUnpackNotWritable = 20009,
    // Cancelled, or the system failed: out of memory or descriptors, a disk fault. Remedy: try again.
    kUnpackInterrupted = 20100,
};

} // namespace delivery
