#include "support/OTTestEnvironment.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>

#include "foundation/OTFiles.h"
#include "platform/OTPageClassRegistry.h"
#include "server/OTNetwork.h"
#include "services/OTLogger.h"
#include "services/OTUtils.h"
#include "view/OTTabBarController.h"

namespace corvane {

namespace fs = std::filesystem;

OTTestEnvironment::OTTestEnvironment() {
    std::string pattern = (fs::temp_directory_path() / "ot-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    root_ = pattern;
    install();
}

OTTestEnvironment::~OTTestEnvironment() {
    environment_->shutdown();
    OTEnvironment::install(nullptr);
    environment_.reset();
    std::error_code ec;
    fs::remove_all(root_, ec);
}

std::string OTTestEnvironment::log() const {
    scheduler_->runUntilIdle();
    return OTFiles::readFile(OTLogger::getInstance()->logFilePath()).value_or("");
}

std::chrono::system_clock::time_point OTTestEnvironment::date(const char* text) {
    return *OTUtils::dateFromString(std::string(text));
}

std::size_t OTTestEnvironment::occurrences(const std::string& text, const std::string& fragment) {
    std::size_t found = 0;
    if (fragment.empty()) return found;
    for (auto at = text.find(fragment); at != std::string::npos; at = text.find(fragment, at + 1)) ++found;
    return found;
}

OTDeviceInfo OTTestEnvironment::fixedDevice() {
    OTDeviceInfo device;
    device.systemVersion = "17.5";
    device.machine = "iPhone15,2";
    device.bundleIdentifier = "com.corvane.test";
    device.bundleShortVersion = "3.1.4";
    device.identifierForVendor = "11111111-2222-4333-8444-555555555555";
    return device;
}

void OTTestEnvironment::restart() {
    environment_->shutdown();
    OTEnvironment::install(nullptr);
    environment_.reset();
    install();
}

void OTTestEnvironment::setScreenSize(double width, double height) {
    device_.screenWidth = width;
    device_.screenHeight = height;
    restart();
}

void OTTestEnvironment::setHTTPTransport(std::shared_ptr<OTHTTPTransport> http) {
    http_ = std::move(http);
    restart();
}

void OTTestEnvironment::setFiles(std::shared_ptr<OTFileSystem> files) {
    files_ = std::move(files);
    restart();
}

void OTTestEnvironment::install() {
    const auto now = clock_ ? clock_->now() : OTVirtualClock::defaultStart();
    clock_ = std::make_shared<OTVirtualClock>(now, std::chrono::hours(8));
    scheduler_ = std::make_shared<OTManualScheduler>(clock_);
    console_ = std::make_shared<OTRecordingConsole>();
    uiHost_ = std::make_shared<OTHeadlessUIHost>();
    reachability_ = std::make_shared<OTManualReachabilitySource>();
    OTEnvironment::Parts parts;
    parts.clock = clock_;
    parts.scheduler = scheduler_;
    parts.sandboxRoot = root_;
    parts.device = device_;
    parts.console = console_;
    parts.random = std::make_shared<OTRandomSource>(42u);
    parts.uiHost = uiHost_;
    parts.reachability = reachability_;
    parts.http = http_;
    parts.files = files_;
    environment_ = std::make_shared<OTEnvironment>(std::move(parts));
    OTEnvironment::install(environment_);
    // Nothing leaves the machine: until a test points the client at its server, requests go to a
    // closed loopback port and fail at once.
    OTNetwork::configEnvironment(OTNetworkConfig::withBaseURL(kClosedServerURL));
}

OTTestEnvironment::HostApp OTTestEnvironment::installHostApp() {
    HostApp app;
    app.home = std::make_shared<OTViewController>("HomeVC");
    app.stack = OTNavigationController::withRoot(app.home);
    auto tabs = std::make_shared<OTTabBarController>();
    tabs->setViewControllers({app.stack});
    app.window = std::make_shared<OTWindow>(tabs);
    uiHost_->setWindows({app.window});
    OTPageClassRegistry::shared()->registerPageClass({"DetailVC", {"id", "name"}, std::nullopt, std::nullopt});
    return app;
}

}  // namespace corvane
