#include "site/verbs/Commands.h"

#include "site/publish/RetiredPackages.h"

namespace lumsite {

namespace {

using base::Offer;
using base::Option;
using base::Verb;
using base::WholeNumberOption;

constexpr long kMostDays = 36500;

const Offer kFiles{Offer::Kind::Files};

bool BeginsWithSlash(const std::string &text) {
    return text.starts_with('/');
}

Option KeyType() {
    return {.name = "--type",
            .value = "TYPE",
            .help = "kind of the new keys of a release: ed25519, ecdsa (P-256) or rsa (default ed25519)",
            .offer = {Offer::Kind::Words, "ed25519 ecdsa rsa"}};
}

Verb Init() {
    return {.name = "init",
            .operands = "DIR",
            .fewest = 1,
            .most = 1,
            .summary = "make the keys of a site",
            .text = "Creates DIR, a folder that only its owner can enter, with the key and the certificate that sign "
                    "the site's packages, and the demonstration authority that issues the certificate. With --release, "
                    "creates the keys of a signed release instead, and its first root. Nothing is overwritten. Keep "
                    "DIR out of the published folder.",
            .options = {{.name = "--name",
                         .value = "NAME",
                         .help = "common name of the certificate (default site" LUM_VENDOR_SUFFIX ")"},
                        WholeNumberOption("--days", "N", "days for which the certificate is valid (default 365)", 1,
                                          kMostDays),
                        WholeNumberOption("--ca-days", "N", "days for which the authority is valid (default 3650)", 1,
                                          kMostDays),
                        {.name = "--bits",
                         .value = "N",
                         .help = "size of the keys: 2048, 3072 or 4096 (default 2048)",
                         .offer = {Offer::Kind::Words, "2048 3072 4096"}},
                        WholeNumberOption("--chain", "N",
                                          "certificates between the authority's root and the site's (default 0)", 0, 5),
                        {.name = "--ca",
                         .value = "DIR",
                         .help = "have the authority of these keys issue the certificate, instead of a new one",
                         .offer = kFiles},
                        {.name = "--renew", .help = "issue a new certificate for the key that is in DIR"},
                        {.name = "--release", .help = "make the keys of a signed release"},
                        WholeNumberOption("--root-keys", "N", "with --release, keys of the root (default 3)", 1, 100),
                        WholeNumberOption("--threshold", "N",
                                          "with --release, how many of them must sign a root (default 2)", 1, 100),
                        KeyType()},
            .offer = kFiles};
}

Verb Pack() {
    return {.name = "pack",
            .operands = "COMPONENT",
            .fewest = 1,
            .most = 1,
            .summary = "make a package of one component",
            .text = "COMPONENT is a folder such as confshell.bundle, or a file. The same component gives the same "
                    "bytes.",
            .options = {{.name = "-o",
                         .value = "FILE",
                         .help = "the package (default COMPONENT and the format, in the current folder)",
                         .offer = kFiles},
                        {.name = "--format",
                         .value = "FORMAT",
                         .help = "tar.gz, tar.zst, tar.xz or zip (default tar.gz)",
                         .offer = {Offer::Kind::Words, "tar.gz tar.zst tar.xz zip"}},
                        {.name = "--links-as-files",
                         .help = "write symbolic links as small files that contain their target"}},
            .offer = kFiles};
}

Verb Publish() {
    const std::string hours = std::to_string(kKeepHours);
    return {.name = "publish",
            .operands = "MANIFEST SITE",
            .fewest = 2,
            .most = 2,
            .summary = "make packages, instruction file and pages from a manifest",
            .text =
                "Publishes what MANIFEST, a JSON file, describes to the folder SITE. At every moment, visitors find "
                "the site as it was or as it is now. Packages that are no longer named are kept for visitors with "
                "an earlier instruction file, until --prune.",
            .options = {{.name = "--url",
                         .value = "URL",
                         .help = "address of SITE for visitors, instead of the manifest's"},
                        {.name = "--prune", .help = "remove packages that were last named " + hours + " hours ago"},
                        WholeNumberOption("--keep-hours", "N", "with --prune, another number of hours", 0, 100000),
                        {.name = "--replace-keys", .help = "let another key than before sign a section"},
                        {.name = "--same-version",
                         .help = "let a component have other content than before under the same version; visitors who "
                                 "have that version do not get it"}},
            .offer = kFiles};
}

Verb Renew() {
    return {.name = "renew",
            .operands = "KEYS SITE",
            .fewest = 2,
            .most = 2,
            .summary = "sign timestamp and snapshot of a signed release again",
            .text = "Needs only release.json and online/ of the folder KEYS, and is meant for a timer. Visitors are "
                    "refused when a release is not renewed in time.",
            .offer = kFiles};
}

Verb Rotate() {
    return {
        .name = "rotate",
        .operands = "KEYS [ROLE...]",
        .fewest = 1,
        .most = 5,
        .summary = "replace keys of a signed release",
        .text = "Makes new keys for each ROLE (root, targets, snapshot, timestamp) and a root that lists them; "
                "without ROLE, the root is only signed again, for another year. If not enough root keys are in "
                "offline/, the root waits for the others, which --sign adds where they are. Publish afterwards.",
        .options = {{.name = "--only", .value = "NAME", .help = "replace only the key of this name; may be repeated"},
                    WholeNumberOption("--keys", "N", "new keys of each ROLE (default as many as are replaced)", 0, 100),
                    WholeNumberOption("--threshold", "N", "how many keys of each ROLE must sign (default as before)", 1,
                                      100),
                    KeyType(),
                    {.name = "--public",
                     .value = "FILE",
                     .help = "the new key is this one (PEM, public), whose private half --command uses",
                     .offer = kFiles},
                    {.name = "--command",
                     .value = "COMMAND",
                     .help = "shell command that signs its standard input and writes the signature"},
                    {.name = "--sign", .help = "sign the root that waits for signatures"}},
        .offer = kFiles};
}

Verb Serve() {
    return {.name = "serve",
            .operands = "DIR",
            .fewest = 1,
            .most = 1,
            .summary = "serve a published folder on the loopback address",
            .text =
                "Serves the published folder DIR to this computer (127.0.0.1) until it is interrupted, and prints a "
                "line for every request. It is meant for trials, not to face a network.",
            .options = {WholeNumberOption("--port", "N", "port to listen on (default any free one)", 0, 65535),
                        {.name = "--port-file",
                         .value = "FILE",
                         .help = "write the port number to FILE once connections are accepted",
                         .offer = kFiles},
                        WholeNumberOption("--rate", "BYTES",
                                          "send at most so many bytes of a file in a second, as a slow line does", 0,
                                          1'000'000'000),
                        {.name = "--log",
                         .value = "FILE",
                         .help = "append the lines to FILE instead of printing them",
                         .offer = kFiles},
                        {.name = "--log-endpoint",
                         .value = "PATH",
                         .help = "treat GET requests for PATH as reports and print them decoded",
                         .expected = "a path that begins with \"/\"",
                         .accepts = BeginsWithSlash}},
            .offer = kFiles};
}

Verb Check() {
    return {
        .name = "check",
        .operands = "DIR|URL",
        .fewest = 1,
        .most = 1,
        .summary = "check a published site the way the extension would",
        .text = "Checks a published site, in its folder or at its address, the way a visitor's extension will. The "
                "exit status is 1 when an error is found; warnings and notes do not count. A clean report cannot "
                "promise that a component runs.",
        .options = {{.name = "--page",
                     .value = "PAGE",
                     .help = "the page that starts the extension (default index.html; in a folder, all such pages)"},
                    {.name = "--section",
                     .value = "NAME",
                     .help = "section of the instruction file (default the one that the page names)"},
                    {.name = "--ca",
                     .value = "FILE",
                     .help = "certificates (PEM) that visitors trust besides the system's",
                     .offer = kFiles},
                    {.name = "--root",
                     .value = "FILE",
                     .help = "the root of the signed release that visitors trust (default the site's root.json)",
                     .offer = kFiles},
                    {.name = "--visitor",
                     .value = "DIR",
                     .help =
                         "play the visitor of the signed release whose saved metadata DIR keeps from check to check",
                     .offer = kFiles},
                    WholeNumberOption("--soon", "N", "warn about certificates that expire within N days (default 30)",
                                      0, kMostDays)},
        .offer = kFiles};
}

} // namespace

const base::Program &Commands() {
    static const base::Program program = {
        .name = "lumsite",
        .summary = "Publishes components for the meeting-start extension.",
        .verbs = {Init(), Pack(), Publish(), Renew(), Rotate(), Serve(), Check()},
        .text = "Exit status: 0 success, 1 failure, 2 wrong usage.",
    };
    return program;
}

} // namespace lumsite
