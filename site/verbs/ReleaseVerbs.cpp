// The verbs of a signed release's keys, and its renewal.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "site/FindingText.h"
#include "site/publish/Manifest.h"
#include "site/release/ReleaseKeys.h"
#include "site/release/Renewal.h"
#include "site/release/RootCeremony.h"
#include "site/verbs/Commands.h"
#include "site/verbs/Verbs.h"

namespace lumsite {

namespace {

using base::Fail;
using base::Result;

delivery::ReleaseTime Now() {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

SigningKeyType TypeOf(const base::CommandLine &line) {
    const std::string type = line.Value("--type").value_or("");
    return type == "rsa" ? SigningKeyType::Rsa : type == "ecdsa" ? SigningKeyType::Ecdsa : SigningKeyType::Ed25519;
}

std::optional<std::size_t> NumberOf(const base::CommandLine &line, const char *option) {
    return line.Has(option) ? std::optional(static_cast<std::size_t>(line.Number(option, 0))) : std::nullopt;
}

auto Misuse(const char *verb, const std::string &what) {
    return Fail(base::WrongUse(Commands(), verb, what).text, kManifestFault);
}

Result<Rotation> ReadRotation(const base::CommandLine &line) {
    Rotation rotation;
    for (std::size_t i = 1; i < line.operands().size(); ++i) {
        const auto role = RoleNamed(line.operands()[i]);
        if (!role) {
            return Misuse("rotate", "\"" + line.operands()[i] + "\" is not root, targets, snapshot or timestamp");
        }
        rotation.roles.insert(*role);
    }
    const std::vector<std::string> only = line.Values("--only");
    rotation.only.insert(only.begin(), only.end());
    rotation.newKeys = NumberOf(line, "--keys");
    rotation.threshold = NumberOf(line, "--threshold");
    rotation.type = TypeOf(line);
    rotation.publicKey = line.Value("--public").value_or("");
    if (line.Has("--public") != line.Has("--command")) {
        return Misuse("rotate", "--public and --command need each other");
    }
    if (line.Has("--command")) {
        rotation.command = {"/bin/sh", "-c", *line.Value("--command")};
    }
    return rotation;
}

void Print(const CeremonyResult &result, const std::string &folder) {
    const std::string root = "root " + std::to_string(result.version);
    for (const std::string &text : result.content) {
        std::printf("%s %s\n", root.c_str(), text.c_str());
    }
    for (const std::string &name : result.made) {
        std::printf("new  %s\n", name.c_str());
    }
    for (const std::string &name : result.retired) {
        std::printf("gone %s%s\n", name.c_str(),
                    name.starts_with("root-") ? "" : " (signs once more at the next publish)");
    }
    if (std::ranges::any_of(result.made, [](const std::string &name) { return name.starts_with("root-"); })) {
        std::printf("move the new root keys in offline/ each to a medium of its own\n");
    }
    if (result.isComplete) {
        std::printf("%s is complete; publish the site, and copy release.json and online/ to where it is renewed\n",
                    root.c_str());
        return;
    }
    for (const std::string &why : result.missing) {
        std::printf("missing: %s\n", why.c_str());
    }
    std::printf("%s waits: %s\nBring a missing key, or take %s without the other keys to it, and run: "
                "lumsite rotate --sign %s\n",
                root.c_str(), result.lacking.c_str(), folder.c_str(), folder.c_str());
}

} // namespace

Result<int> RunInitRelease(const base::CommandLine &line) {
    const std::string &folder = line.operands()[0];
    for (const char *option : {"--name", "--days", "--ca-days", "--bits", "--chain", "--ca", "--renew"}) {
        if (line.Has(option)) {
            return Misuse("init", std::string(option) + " does not go with --release");
        }
    }
    NewReleaseOptions options;
    options.rootKeys = NumberOf(line, "--root-keys").value_or(options.rootKeys);
    options.rootThreshold = NumberOf(line, "--threshold").value_or(options.rootThreshold);
    options.type = TypeOf(line);
    return MakeReleaseKeys(folder, options, Now()).map([&] {
        std::printf("%s: keys of a signed release, %zu of %zu root keys sign a root\n"
                    "  offline/       the root keys: move each to a medium of its own, and keep these apart\n"
                    "  targets-1.key  stays here: publish signs with it\n"
                    "  online/        copy it and release.json to the computer that runs \"lumsite renew\"\n"
                    "  1.root.json    for administrators: lumhost allow SITE --root 1.root.json\n",
                    folder.c_str(), options.rootThreshold, options.rootKeys);
        return 0;
    });
}

Result<int> RunRotate(const base::CommandLine &line) {
    const std::string &folder = line.operands()[0];
    const Result<CeremonyResult> result =
        line.Has("--sign") ? SignRoot(folder) : ReadRotation(line).and_then([&](const Rotation &rotation) {
            return RotateKeys(folder, rotation, Now());
        });
    return result.map([&](const CeremonyResult &done) {
        Print(done, folder);
        return done.isComplete ? 0 : 1;
    });
}

Result<int> RunRenew(const base::CommandLine &line) {
    return RenewRelease(line.operands()[0], line.operands()[1], Now()).map([](const RenewResult &result) {
        for (const base::Finding &finding : result.findings) {
            std::fputs(ToText(finding).c_str(), stderr);
        }
        for (const std::string &name : result.written) {
            std::printf("new  %s\n", name.c_str());
        }
        return 0;
    });
}

} // namespace lumsite
