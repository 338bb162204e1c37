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
           "\n\nPrints the base address of the web API, then answers until it is interrupted.\n"
           "Exit codes: 0 after an interrupt, 2 when an option is wrong or the port is taken.\n\n"
           "Below /control/: requests, reports, faults, token-expiry, tracks, catalogue. A fault is switched "
           "on by\n"
           "POST /control/faults {\"endpoint\": \"album/get\", \"kind\": \"delay\", \"count\": 1, \"ms\": "
           "500}; endpoints are those\n"
           "of the web API, \"*\" for all of these, \"stream\" and \"cover\". The kinds and what they "
           "take:\n" +
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
    CLI::App app("A stand-in for the music service: a made-up catalogue and real audio on loopback.",
                 "qobuz-sandbox");
    app.footer(footer());
    app.add_option("--address", options.address, "Loopback address to listen on")
        ->check(CLI::Validator(loopback, "ADDRESS"))
        ->capture_default_str();
    app.add_option("--port", options.port, "Port to listen on; 0 takes any free one")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "What the catalogue is made from")->capture_default_str();
    app.add_option("--featured-albums", options.featuredAlbums, "How many albums are featured")
        ->check(CLI::Range(0, sandbox::Catalogue::albumCount))
        ->capture_default_str();
    app.add_option("--app-id", options.appId, "Application id that clients must send")->capture_default_str();
    app.add_option("--app-secret", options.appSecret, "Secret that requests are signed with")
        ->capture_default_str();
    app.add_option("--token-ttl", options.tokenTtlSeconds, "Seconds that a login lasts")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--stream-ttl", options.streamTtlSeconds, "Seconds that an audio address can be used")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_flag("--verbose", options.verbose, "Print each request on stderr, secrets masked");
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
        std::fprintf(stderr,
                     "qobuz-sandbox: cannot listen on %s port %d: another program may have it. Choose one "
                     "with --port, or "
                     "--port 0 for any free one.\n",
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
