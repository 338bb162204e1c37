#include "sandbox/Sandbox.h"
#include "sandbox/catalogue/Catalogue.h"
#include "sandbox/control/Faults.h"

#include <CLI/CLI.hpp>
#include <arpa/inet.h>

#include <csignal>
#include <cstdio>

namespace {

constexpr int cannotStart = 2;

std::string footer()
{
    return std::string("\nDemo account: user name ") + sandbox::demo::userName + ", password " +
           sandbox::demo::password +
           "\n\nPrints the base address of the web API and runs until it is interrupted.\n"
           "Exit codes: 0 after an interrupt, 2 if an option is invalid or the port is in use.\n\n"
           "Below /control/: requests, reports, faults, token-expiry, tracks, catalogue. To turn a fault "
           "on:\n"
           "POST /control/faults {\"endpoint\": \"album/get\", \"kind\": \"delay\", \"count\": 1, \"ms\": "
           "500}. Endpoints are those\n"
           "of the web API, \"*\" for all of them, \"stream\" and \"cover\". The kinds and their "
           "parameters:\n" +
           sandbox::Faults::help();
}

std::string loopback(const std::string& address)
{
    in_addr parsed{};
    const bool valid =
        ::inet_pton(AF_INET, address.c_str(), &parsed) == 1 && (ntohl(parsed.s_addr) >> 24) == 127;
    return valid ? std::string() : "must be a loopback address, 127.x.x.x";
}

} // namespace

// An exception during set-up is a programming error and ends the program.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv)
{
    sandbox::Options options;
    CLI::App app("A sandbox of the music service: a made-up catalogue and real audio on loopback.",
                 "qobuz-sandbox");
    app.footer(footer());
    app.add_option("--address", options.address, "Loopback address to listen on")
        ->check(CLI::Validator(loopback, "ADDRESS"))
        ->capture_default_str();
    app.add_option("--port", options.port, "Port to listen on; 0 selects a free one")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "Seed of the catalogue")->capture_default_str();
    app.add_option("--featured-albums", options.featuredAlbums, "Number of featured albums")
        ->check(CLI::Range(0, sandbox::Catalogue::albumCount))
        ->capture_default_str();
    app.add_option("--app-id", options.appId, "Application id that clients must send")->capture_default_str();
    app.add_option("--app-secret", options.appSecret, "Secret with which requests are signed")
        ->capture_default_str();
    app.add_option("--token-ttl", options.tokenTtlSeconds, "Lifetime of a login in seconds")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--stream-ttl", options.streamTtlSeconds, "Lifetime of an audio address in seconds")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_flag("--verbose", options.verbose, "Print each request to standard error, with masked secrets");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& problem) {
        return app.exit(problem) == 0 ? 0 : cannotStart;
    }

    // Blocked before any thread starts, so that only the wait below takes them.
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);

    sandbox::Sandbox server(options);
    if (!server.start()) {
        std::fprintf(
            stderr,
            "qobuz-sandbox: cannot listen on %s port %d: another program may be using it. Choose another "
            "one with --port, or a free one with --port 0.\n",
            options.address.c_str(), options.port);
        return cannotStart;
    }
    std::printf("qobuz-sandbox: %s\n", server.baseUrl().c_str());
    std::fflush(stdout);
    int received = 0;
    sigwait(&ends, &received);
    server.stop();
    return 0;
}
