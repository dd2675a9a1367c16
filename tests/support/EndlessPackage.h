// A package that keeps a library busy for a minute before anything comes of it: gzip in gzip, a member without content
// hundreds of millions of times.
#pragma once

#include <string>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

inline std::string Repeated(const std::string &text, std::size_t least) {
    std::string all;
    while (all.size() < least) {
        all += text;
    }
    return all;
}

inline std::string EndlessPackage(const TempDir &place) {
    const auto gzip = [&](const std::string &content) {
        place.Write("endless", content);
        OutputOf("gzip -9cn '" + (place / "endless") + "' >'" + (place / "endless.gz") + "'");
        return ReadFile(place / "endless.gz");
    };
    return gzip(Repeated(gzip(Repeated(gzip(""), 20'000'000)), 10'000'000));
}
