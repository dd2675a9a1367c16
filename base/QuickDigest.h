// XXH3 (64 bits): a digest that shows accidental changes of a file as fast as it can be read. Not against an attacker.
// Any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

#include "base/Result.h"

struct XXH3_state_s;

namespace base {

// Fed piece by piece.
class QuickDigest {
public:
    QuickDigest();
    void Add(std::string_view bytes);
    // Of everything so far.
    std::uint64_t Value() const;

private:
    struct Free {
        void operator()(XXH3_state_s *state) const;
    };
    std::unique_ptr<XXH3_state_s, Free> m_state;
};

// Of the file's content. The file must be a regular one; a symbolic link is not followed.
Result<std::uint64_t> QuickDigestOfFile(const std::filesystem::path &file);
std::uint64_t QuickDigestOfText(std::string_view text);

} // namespace base
