#include <cerrno>
#include <csignal>
#include <cstdio>

#include "base/Files.h"
#include "base/ScopedFile.h"
#include "site/serve/HttpServer.h"
#include "site/verbs/Verbs.h"

namespace lumsite {

namespace {

HttpServerOptions ReadOptions(const base::CommandLine &line) {
    HttpServerOptions options;
    options.folder = line.operands()[0];
    options.port = static_cast<std::uint16_t>(line.Number("--port", 0));
    options.bytesPerSecond = static_cast<std::uint64_t>(line.Number("--rate", 0));
    options.logEndpoint = line.Value("--log-endpoint").value_or("");
    return options;
}

// The file for --log; null without the option.
base::Result<base::ScopedFile> OpenLog(const base::CommandLine &line) {
    const std::optional<std::string> name = line.Value("--log");
    base::ScopedFile file(name ? std::fopen(name->c_str(), "ae") : nullptr);
    if (name && !file) {
        return base::SystemFailure("cannot write " + *name, errno);
    }
    return file;
}

// Blocks the signals that end the server, so that threads made from now on leave them to sigwait.
sigset_t BlockEndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, number);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

base::Result<void> Announce(const base::CommandLine &line, const HttpServer &server) {
    std::printf("serving %s at %s\n", line.operands()[0].c_str(), server.url().c_str());
    std::fflush(stdout);
    const std::optional<std::string> name = line.Value("--port-file");
    return name ? base::ReplaceFile(*name, std::to_string(server.port()) + "\n", base::Readers::Everyone,
                                    base::Durability::Cached)
                : base::Result<void>();
}

} // namespace

base::Result<int> RunServe(const base::CommandLine &line) {
    const base::Result<base::ScopedFile> file = OpenLog(line);
    if (!file) {
        return base::Fail(file.error());
    }
    HttpServerOptions options = ReadOptions(line);
    options.log = [out = *file ? file->get() : stdout](const std::string &text) {
        std::fprintf(out, "%s\n", text.c_str());
        std::fflush(out);
    };
    const sigset_t signals = BlockEndSignals();
    const base::Result<HttpServer> server = HttpServer::Start(std::move(options));
    if (!server) {
        return base::Fail(server.error());
    }
    if (const base::Result<void> announced = Announce(line, *server); !announced) {
        return base::Fail(announced.error());
    }
    int number = 0;
    sigwait(&signals, &number);
    return 0;
}

} // namespace lumsite
