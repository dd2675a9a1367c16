// Where a published site is looked at: its folder, or the address that visitors use.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "base/Result.h"

namespace lumsite {

class SiteSource {
public:
    virtual ~SiteSource() = default;

    struct File {
        std::filesystem::path path; // empty when the file cannot be had
        std::string reason;         // why not: "there is no such file", "status 404"
        bool isMissing = false;     // the reason is that there is no such file, or none for visitors
    };
    // The file at `name`, a relative path without "..", or any http address. The path is good until the next call or
    // the end of the object. A file above `limit` bytes is not fetched.
    virtual File Fetch(const std::string &name, std::uint64_t limit) = 0;
    // How `name` is called in messages.
    virtual std::string Title(const std::string &name) const = 0;
};

// `place` is a folder or an http(s) address. Fails when it is neither. `caFile`: the authorities (PEM) to
// trust for https instead of the system's; empty for these.
base::Result<std::unique_ptr<SiteSource>> OpenSite(const std::string &place, const std::filesystem::path &caFile = {});

bool IsWebAddress(const std::string &text);

} // namespace lumsite
