#include <cstdio>

#include "site/verbs/CommandLine.h"
#include "site/Files.h"
#include "site/publish/Packer.h"
#include "site/SiteError.h"
#include "site/verbs/Verbs.h"

namespace fs = std::filesystem;

namespace lumsite {

int RunPack(const std::vector<std::string> &arguments) {
    CommandLine line(
        "pack", "COMPONENT",
        "Makes a package of one component, a folder such as confshell.bundle or a file. The same component\n"
        "gives the same bytes.\n",
        {{"-o", "FILE", "the package (COMPONENT and the format, in this folder)"},
         {"--format", "FORMAT", "tar.gz, tar.zst, tar.xz or zip (tar.gz)"},
         {"--links-as-files", "", "write symbolic links as small files that hold their target"}});
    line.Parse(arguments, 1, 1);
    if (line.helpWanted()) {
        std::fputs(line.Help().c_str(), stdout);
        return 0;
    }
    PackOptions options;
    options.format = line.Value("--format").value_or(options.format);
    options.linksAsFiles = line.Has("--links-as-files");
    const fs::path component = fs::absolute(line.operands()[0]).lexically_normal();
    const fs::path named = component.has_filename() ? component : component.parent_path();
    const fs::path package = line.Value("-o").value_or(named.filename().string() + "." + options.format);
    TemporaryFile file(package.has_parent_path() ? package.parent_path() : fs::path("."));
    const PackResult result = Pack(named, file.path(), options);
    for (const std::string &warning : result.warnings) {
        std::fputs(ToText({Severity::Warning, "", warning, ""}).c_str(), stderr);
    }
    const auto size = fs::file_size(file.path());
    file.Commit(package);
    std::printf("%s: %llu bytes, unpacked %llu, sha256 %s\n", package.c_str(), static_cast<unsigned long long>(size),
                static_cast<unsigned long long>(result.unpackedSize), DigestOfFile(package, "sha256").c_str());
    return 0;
}

} // namespace lumsite
