// otsim: a host app without a phone, running CorvaneOstrel against the development server.
#include <CLI/CLI.hpp>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "OTCampaignChecker.h"
#include "OTSimulation.h"
#include "OTSimulator.h"
#include "OTSimulatorPreview.h"
#include "OTSimulatorReport.h"
#include "OTSimulatorScreenshots.h"
#include "OTSoak.h"
#include "platform/linux/OTSystemClock.h"

int main(int argc, char** argv) {
    CLI::App app{
        "otsim: runs CorvaneOstrel in a simulated host app and prints what a user would see and what the\n"
        "server received. The scenario is a file of JSON lines, one host action each (see docs/simulator.md);\n"
        "without one the bundled demo runs. \"-\" reads the scenario from standard input."};
    std::string scenario;
    std::string sandbox;
    std::string campaigns = OT_DEFAULT_CAMPAIGNS;
    std::string server;
    std::string html;
    std::string png;
    bool json = false;
    bool log = false;
    bool why = false;
    bool console = false;
    std::int64_t logLevel = 0;
    std::string checkCampaigns;
    std::string preview;
    std::string report;
    bool reports = false;
    bool steps = false;
    std::int64_t settle = 150;
    std::optional<std::uint64_t> soakSeed;
    std::optional<std::uint64_t> simulateSeed;
    std::optional<std::int64_t> days;
    std::optional<std::size_t> until;
    bool verbose = false;
    app.add_option("scenario", scenario, "scenario file (JSON lines)");
    app.add_option("--sandbox", sandbox, "keep the app's files in this folder (default: a fresh temporary one)");
    app.add_option("--campaigns", campaigns, "campaign folder for the embedded dev server")->capture_default_str();
    app.add_option("--server", server, "use this server instead of the embedded one");
    app.add_flag("--json", json, "print observations as JSON lines");
    app.add_flag("--why", why, "under each event, say why each campaign was not shown");
    app.add_flag("--log", log, "also print every message of the library's logger, whatever the console level");
    app.add_flag("--console", console,
                 "show the library's console (its own prints and log banners) on standard error; otherwise it "
                 "goes to console.log in the sandbox");
    app.add_option("--html", html, "write an HTML snapshot of each dialog and banner shown into this folder");
    app.add_option("--png", png,
                   "draw each snapshot as a PNG picture into this folder with headless Chromium (Debian package "
                   "chromium), when installed; the pages go there too unless --html is given");
    app.add_option("--log-level", logLevel, "library console level: 0 none, 1 all but data, 3/4/5 one level, 6 all")
        ->capture_default_str();
    app.add_option("--check-campaigns", checkCampaigns,
                   "check the campaign files of this folder as the library reads them and run nothing; exit status "
                   "0 when clean, 1 when a campaign would never show, 2 for warnings only");
    app.add_option("--report", report,
                   "write a report of the run into this folder: index.html with the timeline, each dialog and "
                   "banner as it looked, the decisions under each event and the final state");
    app.add_option("--preview", preview,
                   "draw every dialog and banner of the campaign folder (--campaigns) at 320, 375, 390 and 430 "
                   "points wide into this folder, with an index page (and PNG pictures when Chromium is there); "
                   "runs nothing else");
    app.add_flag("--reports", reports,
                 "observe what becomes of every usage report: made, queued (lost in transport), dropped (queue "
                 "full) and loaded (a queue file read to be sent again)");
    app.add_flag("--steps", steps,
                 "follow each action, once done, with a \"step\" observation, for a driver that feeds the scenario "
                 "a line at a time");
    app.add_option("--settle", settle, "milliseconds the main loop runs after each action")
        ->capture_default_str()
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{10000}));
    app.add_option("--soak", soakSeed,
                   "run a long random scenario made from this seed against the embedded dev server, restarting the "
                   "app on the same files and killing it at random points; exit status 0 only when every "
                   "invariant held (see docs/long-runs.md)");
    app.add_option("--simulate", simulateSeed,
                   "run the soak's random life in this process on virtual time, files in memory and the network in "
                   "process, crashes inside writes included: the same seed gives the same transcript; exit status 0 "
                   "only when every invariant held")
        ->excludes("--soak");
    app.add_option("--days", days,
                   "simulated days of a --soak run (default " + std::to_string(corvane::OTSoak::kDefaultDays) +
                       ", at most " + std::to_string(corvane::OTSoak::kMaxDays) + ") or a --simulate run (default " +
                       std::to_string(corvane::OTSimulation::kDefaultDays) + ", at most " +
                       std::to_string(corvane::OTSimulation::kMaxDays) + ")")
        ->check(CLI::Range(std::int64_t{1}, corvane::OTSimulation::kMaxDays));
    app.add_option("--until", until, "stop a --simulate run after this step, as its replay of a breach does");
    app.add_flag("--verbose", verbose, "a --soak or --simulate run prints everything each step caused");
    CLI11_PARSE(app, argc, argv);

    if (simulateSeed) {
        corvane::OTSimulation::Options simulation;
        simulation.seed = *simulateSeed;
        simulation.days = days.value_or(corvane::OTSimulation::kDefaultDays);
        simulation.campaigns = campaigns;
        simulation.until = until;
        simulation.verbose = verbose;
        corvane::OTSimulation run(simulation, std::cout);
        return run.run() ? 0 : 1;
    }
    if (soakSeed) {
        if (days && *days > corvane::OTSoak::kMaxDays) {
            std::cerr << "--days: a soak runs at most " << corvane::OTSoak::kMaxDays << " days\n";
            return 2;
        }
        corvane::OTSoak::Options soak;
        soak.seed = *soakSeed;
        soak.days = days.value_or(corvane::OTSoak::kDefaultDays);
        soak.campaigns = campaigns;
        if (!sandbox.empty()) soak.folder = sandbox;
        soak.verbose = log || verbose;
        corvane::OTSoak run(soak, std::cout);
        return run.run() ? 0 : 1;
    }

    if (!preview.empty()) {
        corvane::OTSimulatorPreview gallery(campaigns, preview, [json](const nlohmann::json& observation) {
            if (json) {
                std::cout << observation.dump() << "\n";
            } else if (observation["type"] == "preview") {
                std::cout << observation["kind"].get<std::string>() << " " << observation["campaign"].get<std::string>()
                          << " at " << observation["width"].get<double>()
                          << " points: " << observation["file"].get<std::string>() << "\n";
            } else if (observation.contains("problem") || observation.contains("message")) {
                std::cout << observation.value("problem", observation.value("message", "")) << "\n";
            } else if (observation["type"] == "gallery") {
                std::cout << "gallery: " << observation["file"].get<std::string>() << "\n";
            }
        });
        return gallery.draw(true) ? 0 : 1;
    }

    if (!checkCampaigns.empty()) {
        if (!std::filesystem::is_directory(checkCampaigns)) {
            std::cerr << "otsim: " << checkCampaigns << " is not a folder\n";
            return 1;
        }
        corvane::OTCampaignChecker checker(
            checkCampaigns, std::chrono::system_clock::now(),
            [clock = corvane::OTSystemClock()](auto when) { return clock.utcOffset(when); });
        const auto findings = checker.check();
        for (const auto& finding : findings) {
            if (json) {
                std::cout << nlohmann::json{{"type", "finding"},
                                            {"file", finding.file},
                                            {"path", finding.path},
                                            {"sentence", finding.sentence},
                                            {"severity",
                                             finding.severity == corvane::OTCampaignChecker::Severity::NeverShows
                                                 ? "neverShows"
                                                 : "warning"}}
                                 .dump()
                          << "\n";
            } else {
                std::cout << corvane::OTCampaignChecker::describe(finding) << "\n";
            }
        }
        if (!json) std::cout << findings.size() << (findings.size() == 1 ? " finding" : " findings") << "\n";
        return corvane::OTCampaignChecker::exitStatus(findings);
    }

    std::string text;
    if (scenario != "-") {
        std::ifstream in(scenario.empty() ? std::string(OT_DEMO_SCENARIO) : scenario);
        if (!in) {
            std::cerr << "otsim: cannot read " << (scenario.empty() ? OT_DEMO_SCENARIO : scenario) << "\n";
            return 1;
        }
        std::stringstream buffer;
        buffer << in.rdbuf();
        text = buffer.str();
    }
    corvane::OTSimulator::Options options;
    if (!sandbox.empty()) options.sandbox = sandbox;
    options.campaigns = campaigns;
    if (!server.empty()) options.serverURL = server;
    options.json = json;
    options.log = log;
    options.why = why;
    options.console = console;
    if (!html.empty()) options.htmlDirectory = html;
    if (!png.empty()) {
        options.pngDirectory = png;
        if (html.empty()) options.htmlDirectory = png;
    }
    options.logLevel = logLevel;
    options.reports = reports;
    options.steps = steps;
    options.settle = std::chrono::milliseconds(settle);
    if (!report.empty()) {
        // The report shows each dialog and banner: as a page beside it, and as a picture when it can.
        if (!options.htmlDirectory) options.htmlDirectory = std::filesystem::path(report) / "pages";
        if (!options.pngDirectory && corvane::OTSimulatorScreenshots::findBrowser())
            options.pngDirectory = std::filesystem::path(report) / "png";
    }
    corvane::OTSimulator simulator(options, std::cout);
    // Standard input is run a line at a time as it comes, so that a driver can feed it.
    const bool ran = scenario == "-" ? simulator.run(std::cin) : simulator.run(text);
    if (!report.empty()) {
        const auto name = scenario.empty() ? std::string("the demo") : scenario == "-" ? "standard input" : scenario;
        if (!corvane::OTSimulatorReport::write(report, simulator.observations(), "CorvaneOstrel run of " + name)) {
            std::cerr << "otsim: cannot write the report into " << report << "\n";
            return 1;
        }
        // JSON lines stay observations of the run only.
        if (!json) {
            std::cout << "report: " << (std::filesystem::path(report) / corvane::OTSimulatorReport::kIndexName).string()
                      << std::endl;
        }
    }
    return ran ? 0 : 1;
}
