#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <istream>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/OTEnvironment.h"

namespace corvane {

class OTScenarioAction;
class OTSimulatorAssets;
class OTSimulatorBanners;
class OTSimulatorClock;
class OTSimulatorIdentity;
class OTSimulatorLoad;
class OTSimulatorNavigation;
class OTSimulatorTagging;

class CorvaneOtConfig;
class CorvaneOtObserver;
class OTDevServer;
class OTEnvironment;
class OTManualReachabilitySource;
class OTManualScheduler;
class OTTabBarController;
class OTThreadScheduler;
class OTWindow;
class OTWindowData;

// A host app without a phone: a real environment over a sandbox folder, the dev server (or a
// given one), and a scenario of host actions (JSON lines). Everything a user would see and the
// server would receive is printed as it happens: as text, or as JSON lines with "type" and "t".
class OTSimulator {
public:
    struct Options {
        std::optional<std::filesystem::path> sandbox;  // a fresh temporary folder when absent
        std::filesystem::path campaigns;
        std::optional<std::string> serverURL;  // the embedded dev server when absent
        bool json = false;
        // The text transcript shows, under each event, why each campaign was not shown.
        bool why = false;
        std::optional<std::filesystem::path> htmlDirectory;
        // Each page of htmlDirectory drawn as a PNG picture here, at the end of the run.
        std::optional<std::filesystem::path> pngDirectory;
        std::int64_t logLevel = 0;
        // Every message of the library's logger, whatever the console level, is observed.
        bool log = false;
        // The library's console on standard error; otherwise in kConsoleFileName in the sandbox,
        // out of the transcript's way.
        bool console = false;
        // What becomes of each usage report is observed ("report": made, queued, dropped, loaded).
        bool reports = false;
        // Each action, once done, is followed by a "step" observation: a driver that feeds the
        // scenario a line at a time waits for it.
        bool steps = false;
        // How long the main loop runs after each action, for what it caused to show.
        std::chrono::milliseconds settle{150};
        // A simulation's world instead of the real one: the library on these parts, driven by the
        // manual scheduler's virtual time, with the clock the scenario moves and the server that
        // the parts' transport answers in this process. Observations are then timed virtually.
        struct World {
            OTEnvironment::Parts parts;
            std::shared_ptr<OTManualScheduler> scheduler;
            std::shared_ptr<OTSimulatorClock> clock;
            std::shared_ptr<OTManualReachabilitySource> reachability;
            OTDevServer* server = nullptr;
            std::string serverURL;
            // Whether the process has crashed: from then on nothing it does is observed.
            std::function<bool()> crashed;
        };
        std::optional<World> world;
    };
    static constexpr const char* kConsoleFileName = "console.log";

    OTSimulator(Options options, std::ostream& out);
    ~OTSimulator();
    OTSimulator(const OTSimulator&) = delete;
    OTSimulator& operator=(const OTSimulator&) = delete;

    // Runs every line of the scenario; a bad line is reported and the run goes on. False when the
    // simulator could not start (no sandbox, no server) or some line could not be read as an
    // action, so that a script's caller sees the mistake.
    bool run(const std::string& scenario);
    // The same, a line at a time as the stream gives them, until it ends.
    bool run(std::istream& scenario);
    const std::vector<nlohmann::json>& observations() const { return observations_; }

    // A run driven a line at a time: begin, then each line as it comes, then end (the app finishes
    // its work and quits) or abandon (the process is gone: nothing more runs).
    bool begin();
    // `settle`: how long the app runs after this line, when not the usual time.
    void feed(std::size_t line, const std::string& text,
              std::optional<std::chrono::milliseconds> settle = std::nullopt);
    void end();
    void abandon();
    // The observations since the last call.
    std::vector<nlohmann::json> takeObservations();

private:
    struct Page {
        std::string name;
        std::vector<std::string> properties;
    };

    bool setUp();
    // The real world: a sandbox folder, threads, the system clock, the network.
    bool setUpSystem();
    void tearDown();
    void step(std::size_t line, const std::string& text, std::chrono::milliseconds settle);
    void perform(std::size_t line, const OTScenarioAction& action);
    void declareApp(const OTScenarioAction& action);
    void buildApp();
    void start(std::size_t line, const OTScenarioAction& action);
    void showPage(std::size_t line, const OTScenarioAction& action);
    void tap(std::size_t line, const std::string& element);
    // The user closes what is presented on top (a browser page, say).
    void dismiss(std::size_t line);
    void waitFor(std::size_t line, const OTScenarioAction& action);
    void setNetwork(std::size_t line, const std::string& state);
    void injectFault(std::size_t line, const OTScenarioAction& action);
    void moveClock(const OTScenarioAction& action);
    std::shared_ptr<CorvaneOtObserver> observer();

    // Runs the main loop for `duration` of real time, collecting what happened meanwhile.
    void pump(std::chrono::milliseconds duration, const std::function<bool()>& done = {});
    void collect();

    void observe(nlohmann::json observation);
    // Keeps an observation already known to come from before any crash.
    void record(nlohmann::json observation);
    bool crashed() const { return options_.world && options_.world->crashed && options_.world->crashed(); }
    void print(const nlohmann::json& observation);
    // The library's decision records become observations.
    void listenForDecisions();
    void error(std::size_t line, const std::string& message);
    void dialogShown(const std::shared_ptr<const OTWindowData>& data);
    void dialogReacted(const std::shared_ptr<const OTWindowData>& data, std::int64_t type);
    void writeSnapshot(const std::string& campaign);
    void writePictures();
    nlohmann::json finalState();
    // The length of an offline queue as stored on disk, which a flush leaves empty while the
    // queue in memory keeps what was re-sent.
    std::size_t storedEvents(const char* fileName) const;

    Options options_;
    std::ostream& out_;
    std::chrono::steady_clock::time_point began_;
    std::vector<nlohmann::json> observations_;
    std::filesystem::path sandbox_;
    bool temporarySandbox_ = false;
    std::unique_ptr<OTDevServer> server_;
    // The embedded server or the world's.
    OTDevServer* devServer_ = nullptr;
    std::shared_ptr<OTManualScheduler> manual_;
    std::chrono::system_clock::time_point virtualBegan_;
    std::string serverURL_;
    std::shared_ptr<OTEnvironment> environment_;
    std::shared_ptr<OTThreadScheduler> scheduler_;
    std::shared_ptr<OTManualReachabilitySource> reachability_;
    std::vector<Page> pages_;
    std::vector<std::vector<std::string>> tabs_;
    std::shared_ptr<OTTabBarController> tabBar_;
    std::shared_ptr<OTWindow> window_;
    std::shared_ptr<CorvaneOtObserver> observer_;
    std::optional<std::string> group_;
    std::shared_ptr<CorvaneOtConfig> config_;
    std::size_t seenRequests_ = 0;
    std::size_t lastActionStart_ = 0;
    // Lines that were no action the simulator knows (not JSON, unknown, malformed).
    std::size_t unreadable_ = 0;
    std::unique_ptr<OTSimulatorNavigation> navigation_;
    std::size_t snapshots_ = 0;
    std::unique_ptr<OTSimulatorAssets> assets_;
    std::unique_ptr<OTSimulatorBanners> banners_;
    std::unique_ptr<OTSimulatorIdentity> identity_;
    std::unique_ptr<OTSimulatorTagging> tagging_;
    std::unique_ptr<OTSimulatorLoad> load_;
    std::shared_ptr<OTSimulatorClock> clock_;
    // The logger's messages and the report fates, from whatever thread tells them, until the main
    // loop observes them.
    struct Inbox {
        std::mutex mutex;
        std::vector<nlohmann::json> messages;
    };
    std::shared_ptr<Inbox> inbox_ = std::make_shared<Inbox>();
};

}  // namespace corvane
