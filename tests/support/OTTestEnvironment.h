#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/OTEnvironment.h"
#include "platform/deterministic/OTManualReachabilitySource.h"
#include "platform/deterministic/OTManualScheduler.h"
#include "platform/deterministic/OTRecordingConsole.h"
#include "platform/deterministic/OTVirtualClock.h"
#include "render/OTHeadlessUIHost.h"
#include "view/OTNavigationController.h"
#include "view/OTWindow.h"

namespace corvane {

// A deterministic environment for one test: a fresh temporary sandbox, a virtual clock at
// 2024-05-01 00:00:00 UTC in a UTC+8 zone, the manual scheduler, a recording console, the headless
// user interface, a seeded random source and fixed device facts. Installed on construction; removed with its sandbox on
// destruction.
class OTTestEnvironment {
public:
    static constexpr const char* kClosedServerURL = "http://127.0.0.1:9";

    OTTestEnvironment();
    ~OTTestEnvironment();
    OTTestEnvironment(const OTTestEnvironment&) = delete;
    OTTestEnvironment& operator=(const OTTestEnvironment&) = delete;

    // Discards the installed environment (and its shared instances) and installs a new one over
    // the same sandbox, as a restart of the app would.
    void restart();
    // Restarts with a screen of this size in points.
    void setScreenSize(double width, double height);
    // Restarts with this HTTP transport instead of libcurl.
    void setHTTPTransport(std::shared_ptr<OTHTTPTransport> http);
    // Restarts on these files instead of the sandbox's own.
    void setFiles(std::shared_ptr<OTFileSystem> files);

    OTEnvironment& environment() const { return *environment_; }
    OTManualScheduler& scheduler() const { return *scheduler_; }
    OTVirtualClock& clock() const { return *clock_; }
    OTRecordingConsole& console() const { return *console_; }
    OTHeadlessUIHost& uiHost() const { return *uiHost_; }
    OTManualReachabilitySource& reachability() const { return *reachability_; }
    const std::filesystem::path& root() const { return root_; }
    std::filesystem::path documents() const { return root_ / "Documents"; }

    static OTDeviceInfo fixedDevice();
    // The run's log file, once the queues have run.
    std::string log() const;
    // How often the run's log holds `fragment`, once the queues have run.
    std::size_t logCount(const std::string& fragment) const { return occurrences(log(), fragment); }
    // A date text of the fixed format as a time point of the device's zone.
    static std::chrono::system_clock::time_point date(const char* text);
    // How often `fragment` stands in `text`, overlapping runs counted.
    static std::size_t occurrences(const std::string& text, const std::string& fragment);

    // The host app most tests want: a key window over one tab holding HomeVC in a navigation
    // stack, and the page class DetailVC (properties id and name) declared.
    struct HostApp {
        std::shared_ptr<OTViewController> home;
        std::shared_ptr<OTNavigationController> stack;
        std::shared_ptr<OTWindow> window;
    };
    HostApp installHostApp();

private:
    void install();

    std::filesystem::path root_;
    OTDeviceInfo device_ = fixedDevice();
    std::shared_ptr<OTVirtualClock> clock_;
    std::shared_ptr<OTManualScheduler> scheduler_;
    std::shared_ptr<OTRecordingConsole> console_;
    std::shared_ptr<OTHeadlessUIHost> uiHost_;
    std::shared_ptr<OTManualReachabilitySource> reachability_;
    std::shared_ptr<OTHTTPTransport> http_;
    std::shared_ptr<OTFileSystem> files_;
    std::shared_ptr<OTEnvironment> environment_;
};

}  // namespace corvane
