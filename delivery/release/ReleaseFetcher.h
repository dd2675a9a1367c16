// How the client of a release gets its files: whoever uses it supplies the network.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/Result.h"

namespace delivery {

class ReleaseFetcher {
public:
    virtual ~ReleaseFetcher() = default;

    // The bytes of a metadata file. `name` is appended to the address of the release's metadata as it is
    // ("5.root.json";
    // "%2F" must arrive as "%2F"). Reading stops at maxLength bytes, whatever the server announces.
    // `saved`: what is saved of this file, empty when there is nothing; an implementation that makes its request
    // conditional answers these bytes when the server says that they are still right.
    // Fails with the code of a ReleaseFault: NotFound (the server answers 403 or 404), TooLong, or Unreachable, and a
    // text for a person. Tried once: retries are the implementation's.
    // Called on the thread that called the client, one call at a time; may block, and ends a blocked call with
    // Unreachable when its owner has changed its mind.
    virtual base::Result<std::string> Fetch(const std::string &name, std::uint64_t maxLength,
                                            std::string_view saved) = 0;
};

} // namespace delivery
