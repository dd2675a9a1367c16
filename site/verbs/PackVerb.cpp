#include <cstdio>

#include "base/Digest.h"
#include "base/Files.h"
#include "site/FindingText.h"
#include "site/publish/Packer.h"
#include "site/verbs/Verbs.h"

namespace fs = std::filesystem;

namespace lumsite {

base::Result<int> RunPack(const base::CommandLine &line) {
    PackOptions options;
    options.format = line.Value("--format").value_or(options.format);
    options.linksAsFiles = line.Has("--links-as-files");
    std::error_code error;
    const fs::path component = fs::absolute(line.operands()[0], error).lexically_normal();
    if (error) {
        return base::SystemFailure("cannot pack " + line.operands()[0], error.value());
    }
    const fs::path named = component.has_filename() ? component : component.parent_path();
    const fs::path package = line.Value("-o").value_or(named.filename().string() + "." + options.format);
    base::Result<base::StagedFile> file = base::StagedFile::Make(
        package.has_parent_path() ? package.parent_path() : fs::path("."), base::Readers::Everyone);
    if (!file) {
        return base::Fail(std::move(file.error()));
    }
    const base::Result<PackResult> result = Pack(named, file->path(), options);
    if (!result) {
        return base::Fail(result.error());
    }
    for (const std::string &warning : result->warnings) {
        std::fputs(ToText({base::Severity::Warning, "", warning, ""}).c_str(), stderr);
    }
    if (const base::Result<void> committed = file->Commit(package); !committed) {
        return base::Fail(committed.error());
    }
    const base::Result<std::string> digest = base::DigestOfFile(package);
    if (!digest) {
        return base::Fail(digest.error());
    }
    std::printf("%s: %llu bytes, unpacked %llu, sha256 %s\n", package.c_str(),
                static_cast<unsigned long long>(fs::file_size(package, error)),
                static_cast<unsigned long long>(result->unpackedSize), digest->c_str());
    return 0;
}

} // namespace lumsite
