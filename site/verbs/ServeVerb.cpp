#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>

#include "site/verbs/CommandLine.h"
#include "site/Files.h"
#include "site/serve/HttpServer.h"
#include "site/SiteError.h"
#include "site/verbs/Verbs.h"

namespace lumsite {
namespace {

// Blocks the signals that end the server, so that threads made from now on leave them to WaitForEnd().
sigset_t HoldBackEndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, number);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

} // namespace

int RunServe(const std::vector<std::string> &arguments) {
    CommandLine line(
        "serve", "DIR",
        "Serves the published folder DIR to this computer (127.0.0.1) until it is interrupted, and prints a\n"
        "line for every request.\n",
        {{"--port", "N", "port to listen on (any that is free)"},
         {"--port-file", "FILE", "write the port's number there, once connections are taken"},
         {"--rate", "BYTES", "send no more bytes of a file in a second, as a slow line does"},
         {"--log", "FILE", "append the lines to FILE instead of printing them"},
         {"--log-endpoint", "PATH", "take GET requests for PATH as reports and print them decoded"}});
    line.Parse(arguments, 1, 1);
    if (line.helpWanted()) {
        std::fputs(line.Help().c_str(), stdout);
        return 0;
    }
    std::unique_ptr<FILE, int (*)(FILE *)> file(nullptr, std::fclose);
    if (line.Has("--log")) {
        file.reset(std::fopen(line.Value("--log")->c_str(), "ae"));
        if (!file) {
            ThrowSystemError("cannot write", *line.Value("--log"));
        }
    }
    FILE *out = file ? file.get() : stdout;
    HttpServerOptions options;
    options.folder = line.operands()[0];
    options.port = static_cast<std::uint16_t>(line.Number("--port", 0, 0, 65535));
    options.bytesPerSecond = line.Number("--rate", 0, 0, 1'000'000'000);
    options.logEndpoint = line.Value("--log-endpoint").value_or("");
    if (!options.logEndpoint.empty() && options.logEndpoint.front() != '/') {
        throw UsageError(
            "lumsite serve: option --log-endpoint needs a path that begins with \"/\"; see lumsite serve --help");
    }
    options.log = [out](const std::string &text) {
        std::fprintf(out, "%s\n", text.c_str());
        std::fflush(out);
    };
    const sigset_t signals = HoldBackEndSignals();
    const HttpServer server(std::move(options));
    std::printf("serving %s at %s\n", line.operands()[0].c_str(), server.url().c_str());
    std::fflush(stdout);
    if (line.Has("--port-file")) {
        ReplaceFile(*line.Value("--port-file"), std::to_string(server.port()) + "\n");
    }
    int number = 0;
    sigwait(&signals, &number);
    return 0;
}

} // namespace lumsite
