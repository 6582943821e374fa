// otserver: the development server of CorvaneOstrel, serving the campaigns of a folder.
#include <CLI/CLI.hpp>

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <iostream>

#include "OTDevServer.h"

namespace {
volatile std::sig_atomic_t gStop = 0;
void onSignal(int) { gStop = 1; }
}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "otserver: the CorvaneOstrel development server.\n"
        "Answers every endpoint the library calls (POST, JSON bodies, {\"code\": 0, ...} answers), issues a\n"
        "token at each login (answers 10001 to unknown tokens), and serves the campaigns of a folder:\n"
        "  in_app/*.json, subscribe/*.json, banners/*.json, default_banners/*.json  (one object per file,\n"
        "  served in file-name order as the endpoint's \"data\" list), rule.json (the login answer's \"rule\")."};
    std::string campaigns = OT_DEFAULT_CAMPAIGNS;
    std::string host = "127.0.0.1";
    int port = 0;
    app.add_option("--campaigns", campaigns, "campaign folder")->capture_default_str();
    app.add_option("--host", host, "address to listen on")->capture_default_str();
    app.add_option("--port", port, "port to listen on; 0 lets the system choose")->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    corvane::OTDevServer server({campaigns, host, port});
    if (!server.start()) {
        std::cerr << "otserver: cannot listen on " << host << ":" << port << "\n";
        return 1;
    }
    std::cout << server.baseURL() << std::endl;
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    while (!gStop) pause();
    server.stop();
    return 0;
}
