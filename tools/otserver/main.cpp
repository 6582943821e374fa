// otserver: the development server of CorvaneOstrel, serving the campaigns of a folder.
#include <CLI/CLI.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include "OTCampaignChecker.h"
#include "OTDevServer.h"
#include "platform/linux/OTSystemClock.h"

namespace {
volatile std::sig_atomic_t gStop = 0;
void onSignal(int) { gStop = 1; }

// Runs `command` with each "{url}" replaced by `url` and waits for it: its exit status, 128 and
// the signal's number when a signal ended it, or 127 when it could not start.
int runCommand(std::vector<std::string> command, const std::string& url) {
    for (auto& argument : command) {
        for (auto at = argument.find("{url}"); at != std::string::npos; at = argument.find("{url}", at + url.size())) {
            argument.replace(at, 5, url);
        }
    }
    std::vector<char*> argv;
    argv.reserve(command.size() + 1);
    for (auto& argument : command) argv.push_back(argument.data());
    argv.push_back(nullptr);
    std::cout.flush();
    const pid_t child = fork();
    if (child < 0) return 127;
    if (child == 0) {
        // Only what is safe after forking a process with threads: no stdio.
        execvp(argv[0], argv.data());
        static constexpr char kCannotRun[] = "otserver: cannot run the command\n";
        (void)!write(STDERR_FILENO, kCannotRun, sizeof kCannotRun - 1);
        _exit(127);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return 127;
    }
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 127;
}
}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "otserver: the CorvaneOstrel development server.\n"
        "Answers every endpoint the library calls (POST, JSON bodies, {\"code\": 0, ...} answers), issues a\n"
        "token at each login (answers 10001 to unknown tokens), and serves the campaigns of a folder:\n"
        "  in_app/*.json, subscribe/*.json, banners/*.json, default_banners/*.json  (one object per file,\n"
        "  served in file-name order as the endpoint's \"data\" list), rule.json (the login answer's \"rule\").\n"
        "A test in another process reads what was received (GET /_dev/requests), injects faults\n"
        "(POST /_dev/fault) and expires tokens (POST /_dev/expire-tokens).\n"
        "Given a command after --, runs it against the server and stops with its exit status:\n"
        "  otserver -- ./example_host {url}"};
    std::string campaigns = OT_DEFAULT_CAMPAIGNS;
    std::string host = "127.0.0.1";
    int port = 0;
    app.add_option("--campaigns", campaigns, "campaign folder")->capture_default_str();
    app.add_option("--host", host, "address to listen on")->capture_default_str();
    app.add_option("--port", port, "port to listen on; 0 lets the system choose")->capture_default_str();
    std::vector<std::string> command;
    app.add_option("command", command, "program to run against the server; {url} in it becomes the server's address");
    CLI11_PARSE(app, argc, argv);

    // Campaign files are checked as the library will read them; what is wrong is said, not refused.
    corvane::OTCampaignChecker checker(campaigns, std::chrono::system_clock::now(),
                                       [clock = corvane::OTSystemClock()](auto when) { return clock.utcOffset(when); });
    for (const auto& finding : checker.check())
        std::cerr << "otserver: " << corvane::OTCampaignChecker::describe(finding) << "\n";

    corvane::OTDevServer server({campaigns, host, port});
    if (!server.start()) {
        std::cerr << "otserver: cannot listen on " << host << ":" << port << "\n";
        return 1;
    }
    std::cout << server.baseURL() << std::endl;
    if (!command.empty()) {
        const int status = runCommand(std::move(command), server.baseURL() + "/");
        server.stop();
        return status;
    }
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    while (!gStop) pause();
    server.stop();
    return 0;
}
