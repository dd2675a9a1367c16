// Digests of files and texts, by the system's crypto library. Any thread.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "base/Result.h"

typedef struct evp_md_ctx_st EVP_MD_CTX;

namespace base {

enum class DigestMethod { Sha1, Sha256, Sha512 };

// A digest that is fed piece by piece.
class Digest {
public:
    explicit Digest(DigestMethod method);
    void Add(std::string_view bytes);
    // Lower-case hexadecimal. Once, after the last Add.
    std::string Hex();

private:
    struct Free {
        void operator()(EVP_MD_CTX *context) const;
    };
    std::unique_ptr<EVP_MD_CTX, Free> m_context;
};

// Lower-case hexadecimal digest of the file's content. The file must be a regular one; a symbolic link is not followed.
Result<std::string> DigestOfFile(const std::filesystem::path &file, DigestMethod method = DigestMethod::Sha256);
// The same of an open file, read from its start; the descriptor's position does not change.
Result<std::string> DigestOfFile(int descriptor, DigestMethod method = DigestMethod::Sha256);
std::string DigestOfText(std::string_view text, DigestMethod method = DigestMethod::Sha256);

} // namespace base
