#include "OTSimulator.h"

#include "OTScenarioAction.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <utility>

#include "OTDevServer.h"
#include "OTSimulatorAssets.h"
#include "OTSimulatorBanners.h"
#include "OTSimulatorClock.h"
#include "OTSimulatorIdentity.h"
#include "OTSimulatorLoad.h"
#include "OTSimulatorNavigation.h"
#include "OTSimulatorPresenter.h"
#include "OTSimulatorScreenshots.h"
#include "OTSimulatorTagging.h"
#include "OTSimulatorTranscript.h"
#include "core/OTCampaignStore.h"
#include "core/OTSDKManager.h"
#include "corvane/CorvaneOtManager.h"
#include "model/OTConfigurationReader.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "platform/OTEnvironment.h"
#include "platform/OTPageClassRegistry.h"
#include "platform/OTRandomSource.h"
#include "platform/deterministic/OTManualReachabilitySource.h"
#include "platform/deterministic/OTManualScheduler.h"
#include "platform/linux/OTFileConsole.h"
#include "platform/linux/OTSystemClock.h"
#include "platform/linux/OTThreadScheduler.h"
#include "render/OTHTMLRenderer.h"
#include "render/OTHeadlessRenderer.h"
#include "render/OTHeadlessUIHost.h"
#include "server/OTEventReporter.h"
#include "services/OTDataArchiver.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "services/OTUtils.h"
#include "ui/OTPopWindow.h"
#include "view/OTNavigationController.h"
#include "view/OTTabBarController.h"
#include "view/OTWindow.h"

namespace corvane {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace std::chrono_literals;

namespace {
constexpr const char* kClosedServer = "http://127.0.0.1:9";
constexpr const char* kCoverName = "OTSimulatorCover";
// How long the host lets the library work after each action.

json optionalText(const std::shared_ptr<OTWidgetAttribute>& attribute) {
    return attribute && attribute->text() ? json(*attribute->text()) : json();
}
}  // namespace

OTSimulator::OTSimulator(Options options, std::ostream& out) : options_(std::move(options)), out_(out) {
    pages_ = {{"HomeVC", {}}, {"MineVC", {}}, {"DetailVC", {"id", "name"}}};
    tabs_ = {{"HomeVC"}, {"MineVC"}};
}

OTSimulator::~OTSimulator() { tearDown(); }

bool OTSimulator::setUpSystem() {
    std::error_code ec;
    if (options_.sandbox) {
        sandbox_ = *options_.sandbox;
        fs::create_directories(sandbox_, ec);
    } else {
        std::string pattern = (fs::temp_directory_path() / "otsim-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) return false;
        sandbox_ = pattern;
        temporarySandbox_ = true;
    }
    if (options_.serverURL) {
        serverURL_ = *options_.serverURL;
    } else {
        server_ = std::make_unique<OTDevServer>(OTDevServer::Options{options_.campaigns});
        if (!server_->start()) return false;
        serverURL_ = server_->baseURL();
        devServer_ = server_.get();
    }
    OTEnvironment::Parts parts;
    clock_ = std::make_shared<OTSimulatorClock>(std::make_shared<OTSystemClock>());
    parts.clock = clock_;
    scheduler_ = std::make_shared<OTThreadScheduler>();
    parts.scheduler = scheduler_;
    parts.sandboxRoot = sandbox_;
    parts.device = OTDeviceInfo::current(sandbox_.string(), "com.corvane.otsim", "1.0.0");
    // The simulated phone speaks the sample campaigns' language, whatever this machine's locale.
    parts.device.preferredLanguage = "zh-Hans";
    parts.console = options_.console ? std::make_shared<OTFileConsole>()
                                     : std::make_shared<OTFileConsole>(sandbox_ / kConsoleFileName);
    parts.random = std::make_shared<OTRandomSource>();
    reachability_ = std::make_shared<OTManualReachabilitySource>();
    parts.reachability = reachability_;
    environment_ = std::make_shared<OTEnvironment>(std::move(parts));
    OTEnvironment::install(environment_);
    return true;
}

bool OTSimulator::setUp() {
    began_ = std::chrono::steady_clock::now();
    if (options_.world) {
        auto& world = *options_.world;
        sandbox_ = world.parts.sandboxRoot;
        serverURL_ = world.serverURL;
        devServer_ = world.server;
        manual_ = world.scheduler;
        virtualBegan_ = manual_->clock()->now();
        clock_ = world.clock;
        reachability_ = world.reachability;
        environment_ = std::make_shared<OTEnvironment>(world.parts);
        OTEnvironment::install(environment_);
    } else if (!setUpSystem()) {
        return false;
    }
    if (options_.htmlDirectory) assets_ = std::make_unique<OTSimulatorAssets>(*options_.htmlDirectory);
    banners_ = std::make_unique<OTSimulatorBanners>(
        [this](json observation) { observe(std::move(observation)); }, options_.htmlDirectory,
        OTSize{environment_->device().screenWidth, environment_->device().screenHeight},
        assets_ ? assets_->source() : nullptr);
    identity_ = std::make_unique<OTSimulatorIdentity>([this](json observation) { observe(std::move(observation)); });
    tagging_ = std::make_unique<OTSimulatorTagging>(
        [this](json observation) { observe(std::move(observation)); },
        [this](std::chrono::milliseconds limit, const std::function<bool()>& done) { pump(limit, done); },
        options_.htmlDirectory, OTSize{environment_->device().screenWidth, environment_->device().screenHeight});
    load_ = std::make_unique<OTSimulatorLoad>(
        [this](json observation) { observe(std::move(observation)); },
        [this](std::chrono::milliseconds limit, const std::function<bool()>& done) { pump(limit, done); });
    OTLogger::configLogLevel(options_.logLevel);
    if (options_.log) {
        OTLogger::getInstance()->setListener([this, inbox = inbox_](std::int64_t level, const std::string& message) {
            if (crashed()) return;
            const std::lock_guard lock(inbox->mutex);
            inbox->messages.push_back({{"type", "log"}, {"level", level}, {"text", message}});
        });
    }
    if (options_.reports) {
        CorvaneOtManager::setReportListener([this, inbox = inbox_](const json& record) {
            if (crashed()) return;
            auto observation = record;
            observation["type"] = "report";
            const std::lock_guard lock(inbox->mutex);
            inbox->messages.push_back(std::move(observation));
        });
    }
    OTPopWindowManager::sharedManager()->setPresenter(
        std::make_shared<OTSimulatorPresenter>([this](const auto& data) { dialogShown(data); },
                                               [this](const auto& data, auto type) { dialogReacted(data, type); }));
    buildApp();
    return true;
}

void OTSimulator::tearDown() {
    if (environment_) {
        environment_->shutdown();
        OTEnvironment::install(nullptr);
        environment_.reset();
    }
    if (server_) server_->stop();
    if (temporarySandbox_) {
        std::error_code ec;
        fs::remove_all(sandbox_, ec);
        temporarySandbox_ = false;
    }
}

bool OTSimulator::run(const std::string& scenario) {
    std::istringstream lines(scenario);
    return run(lines);
}

bool OTSimulator::run(std::istream& scenario) {
    if (!begin()) return false;
    std::string line;
    for (std::size_t number = 1; std::getline(scenario, line); ++number) feed(number, line);
    end();
    return unreadable_ == 0;
}

bool OTSimulator::begin() {
    if (setUp()) return true;
    observe({{"type", "error"}, {"line", 0}, {"message", "cannot start: no sandbox or no server"}});
    return false;
}

void OTSimulator::feed(std::size_t line, const std::string& text, std::optional<std::chrono::milliseconds> settle) {
    step(line, text, settle.value_or(options_.settle));
    if (options_.steps) observe({{"type", "step"}, {"line", line}});
}

void OTSimulator::end() {
    pump(options_.settle);
    observe(finalState());
    writePictures();
    tearDown();
}

void OTSimulator::abandon() { tearDown(); }

std::vector<json> OTSimulator::takeObservations() {
    lastActionStart_ = 0;
    return std::exchange(observations_, {});
}

void OTSimulator::step(std::size_t line, const std::string& textLine, std::chrono::milliseconds settle) {
    if (textLine.find_first_not_of(" \t\r") == std::string::npos) return;
    auto parsed = OTScenarioAction::parse(textLine);
    if (const auto* problem = std::get_if<std::string>(&parsed)) {
        ++unreadable_;
        error(line, *problem);
        return;
    }
    const auto& action = std::get<OTScenarioAction>(parsed);
    const std::string& name = action.name();
    // A wait looks back to the action it waits on: what that action caused may already be here.
    if (name != "wait" && name != "waitFor") lastActionStart_ = observations_.size();
    observe({{"type", "action"}, {"line", line}, {"action", action.json()}});
    try {
        perform(line, action);
    } catch (const std::exception& e) {
        ++unreadable_;
        error(line, std::string("bad action: ") + e.what());
    }
    pump(settle);
}

void OTSimulator::perform(std::size_t line, const OTScenarioAction& action) {
    const std::string& name = action.name();
    if (name == "app") return declareApp(action);
    if (name == "observe") {
        group_ = action.text("group", "");
        observer_ = CorvaneOtManager::getObserverListener(*group_);
        listenForDecisions();
        return;
    }
    if (name == "start") return start(line, action);
    if (name == "profile") return observer()->onUserProfile(action.value("profile"));
    if (name == "event") return observer()->onEventDataReceived(action.value("event"));
    if (name == "page") return showPage(line, action);
    if (name == "tap") return tap(line, action.text("element", ""));
    if (name == "wait") return pump(action.duration("seconds", 0));
    if (name == "waitFor") return waitFor(line, action);
    if (name == "network") return setNetwork(line, action.text("state", ""));
    if (name == "pushTrack") {
        return CorvaneOtManager::pushTrack(
            action.integer("type", 0), action.has("msg") ? action.value("msg") : json::object(), group_.value_or(""));
    }
    if (name == "dialogVisible") return CorvaneOtManager::setDialogVisible(action.flag("visible", true));
    if (name == "fault") return injectFault(line, action);
    if (name == "dismiss") return dismiss(line);
    const auto failed = [this, line](const std::string& message) { error(line, message); };
    if (name == "banner") return banners_->load(action, failed);
    if (name == "tapBanner") return banners_->tap(action, failed);
    if (name == "getBanner") return banners_->getBanner(action, failed);
    if (name == "pushToken") return identity_->pushToken(action, group_.value_or(""), failed);
    if (name == "weChat") return identity_->weChat(action);
    if (name == "mailLogs") return identity_->mailLogs(action);
    if (name == "clock") return moveClock(action);
    if (name == "pageTag") return tagging_->pageTag(action);
    if (name == "dragTagBall") return tagging_->dragTagBall(action, failed);
    if (name == "tapTagBall") return tagging_->tapTagBall(failed);
    if (name == "tagAlias") return tagging_->tagAlias(action, failed);
    if (name == "campaigns") return load_->campaigns(action, devServer_, failed);
    if (name == "events") {
        return load_->events(
            action, [this](const json& event) { observer()->onEventDataReceived(event); }, failed);
    }
}

std::shared_ptr<CorvaneOtObserver> OTSimulator::observer() {
    if (!observer_) {
        observer_ = OTSDKManager::sharedManager();
        listenForDecisions();
    }
    return observer_;
}

// ---- The host app ----

void OTSimulator::declareApp(const OTScenarioAction& action) {
    if (const auto& pages = action.value("pages"); pages.is_array()) {
        for (const auto& page : pages) {
            Page declared{page.at("name").get<std::string>(), page.value("properties", std::vector<std::string>{})};
            std::erase_if(pages_, [&](const Page& p) { return p.name == declared.name; });
            pages_.push_back(std::move(declared));
        }
    }
    if (const auto& tabs = action.value("tabs"); tabs.is_array())
        tabs_ = tabs.get<std::vector<std::vector<std::string>>>();
    buildApp();
}

void OTSimulator::buildApp() {
    auto registry = OTPageClassRegistry::shared();
    for (const auto& page : pages_)
        registry->registerPageClass({page.name, page.properties, std::nullopt, std::nullopt});
    tabBar_ = std::make_shared<OTTabBarController>();
    std::vector<std::shared_ptr<OTViewController>> stacks;
    for (const auto& tab : tabs_) {
        std::shared_ptr<OTNavigationController> stack;
        for (const auto& page : tab) {
            auto controller = std::make_shared<OTViewController>(page);
            if (!stack) stack = OTNavigationController::withRoot(controller);
            else stack->pushViewController(controller, false);
        }
        if (stack) stacks.push_back(stack);
    }
    tabBar_->setViewControllers(stacks);
    window_ = std::make_shared<OTWindow>(tabBar_);
    static_cast<OTHeadlessUIHost&>(environment_->uiHost()).setWindows({window_});
    navigation_ = std::make_unique<OTSimulatorNavigation>(
        tabBar_, static_cast<OTHeadlessUIHost&>(environment_->uiHost()), [this](json o) { observe(std::move(o)); });
}

void OTSimulator::start(std::size_t line, const OTScenarioAction& action) {
    auto config = std::make_shared<CorvaneOtConfig>();
    const json fields = action.has("config") ? action.value("config") : json::object();
    if (!fields.contains("url")) config->setUrl(serverURL_);
    config->setLogLevelType(static_cast<std::uint64_t>(options_.logLevel));
    // Read as the C interface reads it: a field of the wrong kind starts nothing.
    if (std::string problem; !OTConfigurationReader::apply(fields, *config, problem)) return error(line, problem);
    if (!fields.contains("applicationGroupIdentifier") && group_) {
        config->setApplicationGroupIdentifier(*group_);
        if (!fields.contains("url")) config->setUrl(serverURL_);
    }
    config_ = std::move(config);
    listenForDecisions();
    CorvaneOtManager::startWithConfig(config_);
    // As in a launching app, the selected tab's top page appears.
    if (auto stack = std::dynamic_pointer_cast<OTNavigationController>(tabBar_->selectedViewController())) {
        if (auto top = stack->topViewController()) top->viewDidAppear(true);
    }
}

void OTSimulator::showPage(std::size_t line, const OTScenarioAction& action) {
    const std::string state = action.text("state", "shown");
    if (state == "covered") {
        window_->addSubview(std::string(kCoverName));
        return;
    }
    if (state == "uncovered") {
        window_->removeSubview(std::string(kCoverName));
        return;
    }
    if (state != "shown") return error(line, "unknown page state \"" + state + "\"");
    auto stack = std::dynamic_pointer_cast<OTNavigationController>(tabBar_->selectedViewController());
    if (!stack) return error(line, "the selected tab has no navigation stack");
    auto page = std::make_shared<OTViewController>(action.text("page", ""));
    stack->pushViewController(page, true);
    navigation_->hostMoved();
    page->viewDidAppear(true);
}

void OTSimulator::dismiss(std::size_t line) {
    std::shared_ptr<OTViewController> top = tabBar_;
    while (auto next = top->presentedViewController()) top = next;
    if (top == tabBar_) return error(line, "nothing is presented");
    top->dismissViewController(true);
    navigation_->hostMoved();
}

void OTSimulator::tap(std::size_t line, const std::string& element) {
    static const std::map<std::string, std::string> kNodes = {{"close", "closeBtn"},
                                                              {"image", "imgView"},
                                                              {"left", "leftBtn"},
                                                              {"right", "rightBtn"},
                                                              {"middle", "middleBtn"}};
    const auto it = kNodes.find(element);
    if (it == kNodes.end()) return error(line, "unknown element \"" + element + "\"");
    const auto dialog = window_->scene()->findByName("OTPopWindow");
    if (!dialog) return error(line, "no dialog on screen");
    const auto node = dialog->findByName(it->second);
    if (!node || !node->superview() || !OTHeadlessRenderer::tap(node)) {
        return error(line, "the dialog on screen has no \"" + element + "\" to tap");
    }
}

void OTSimulator::waitFor(std::size_t line, const OTScenarioAction& action) {
    const std::string type = action.text("type", "");
    const std::string path = action.text("path", "");
    const auto from = lastActionStart_;
    const auto seen = [&] {
        for (auto i = from; i < observations_.size(); ++i) {
            const auto& o = observations_[i];
            if (o["type"] == type && (path.empty() || o.value("path", "") == path)) return true;
        }
        return false;
    };
    pump(action.duration("timeout", 5.0), seen);
    if (!seen()) error(line, "no \"" + type + "\"" + (path.empty() ? "" : " for " + path) + " came in time");
}

void OTSimulator::setNetwork(std::size_t line, const std::string& state) {
    if (!config_) return error(line, "the library has not started");
    if (state == "down") {
        config_->setUrl(std::string(kClosedServer));
        reachability_->setFlags(0);
    } else if (state == "up") {
        config_->setUrl(serverURL_);
        reachability_->setFlags(OTManualReachabilitySource::kWiFiFlags);
    } else {
        error(line, "unknown network state \"" + state + "\"");
    }
}

void OTSimulator::injectFault(std::size_t line, const OTScenarioAction& action) {
    if (!devServer_) return error(line, "faults need the embedded server");
    OTDevServer::Fault fault;
    fault.count = static_cast<int>(action.integer("count", 1));
    if (action.has("status")) fault.httpStatus = static_cast<int>(action.integer("status", 0));
    if (action.has("code")) fault.code = action.integer("code", 0);
    fault.delay = action.duration("delay", 0);
    fault.dropConnection = action.flag("drop", false);
    devServer_->injectFault(action.text("path", ""), fault);
}

void OTSimulator::moveClock(const OTScenarioAction& action) {
    const double seconds = action.value("advance").get<double>();
    clock_->advance(std::chrono::duration_cast<OTClock::Duration>(std::chrono::duration<double>(seconds)));
    const auto now = clock_->now();
    observe({{"type", "clock"}, {"now", OTUtils::stringFromDate(now).value_or("")}});
}

// ---- Watching ----

void OTSimulator::pump(std::chrono::milliseconds duration, const std::function<bool()>& done) {
    if (manual_) {
        // Virtual time, in slices short enough for `done` to be seen soon after it holds.
        for (auto left = duration; left.count() >= 0; left -= 10ms) {
            manual_->advance(std::min<std::chrono::milliseconds>(left, 10ms));
            collect();
            if ((done && done()) || left.count() == 0) return;
        }
        return;
    }
    const auto until = std::chrono::steady_clock::now() + duration;
    do {
        scheduler_->runMainLoopUntil([] { return false; }, 20ms);
        collect();
        if (done && done()) return;
    } while (std::chrono::steady_clock::now() < until);
}

void OTSimulator::collect() {
    if (server_) {
        const auto requests = server_->requests();
        for (; seenRequests_ < requests.size(); ++seenRequests_) {
            const auto& request = requests[seenRequests_];
            observe({{"type", "request"}, {"path", request.path}, {"body", request.body}});
        }
    }
    if (navigation_) navigation_->collect();
    banners_->collect();
    identity_->collect(static_cast<OTHeadlessUIHost&>(environment_->uiHost()));
    tagging_->collect();
    std::vector<json> messages;
    {
        const std::lock_guard lock(inbox_->mutex);
        messages.swap(inbox_->messages);
    }
    for (auto& message : messages) record(std::move(message));
}

// ---- Dialogs ----

void OTSimulator::dialogShown(const std::shared_ptr<const OTWindowData>& data) {
    if (!data) return;
    observe({{"type", "dialog"},
             {"campaign", data->windowId().value_or("")},
             {"style", data->style()},
             {"title", optionalText(data->title())},
             {"content", optionalText(data->content())},
             {"picture", data->picture() ? json(*data->picture()) : json()},
             {"url", data->h5Url() ? json(*data->h5Url()) : json()},
             {"buttons",
              {{"left", optionalText(data->leftBtnAttribute())},
               {"middle", optionalText(data->middleBtnAttribute())},
               {"right", optionalText(data->rightBtnAttribute())}}}});
}

void OTSimulator::dialogReacted(const std::shared_ptr<const OTWindowData>& data, std::int64_t type) {
    const std::string campaign = data ? data->windowId().value_or("") : "";
    if (type == 1 || type == -1) {
        writeSnapshot(campaign);
        return;
    }
    observe({{"type", "closed"}, {"campaign", campaign}, {"code", type}});
}

void OTSimulator::writeSnapshot(const std::string& campaign) {
    if (!options_.htmlDirectory) return;
    std::error_code ec;
    fs::create_directories(*options_.htmlDirectory, ec);
    const auto& device = environment_->device();
    const auto file = *options_.htmlDirectory / ("dialog-" + std::to_string(++snapshots_) + "-" + campaign + ".html");
    std::ofstream(file) << OTHTMLRenderer::render(window_->scene(), {device.screenWidth, device.screenHeight},
                                                  "dialog " + campaign, assets_ ? assets_->source() : nullptr);
    observe({{"type", "snapshot"}, {"campaign", campaign}, {"file", file.string()}});
}

void OTSimulator::writePictures() {
    if (!options_.pngDirectory || !options_.htmlDirectory) return;
    const auto& device = environment_->device();
    const auto result = OTSimulatorScreenshots::render(*options_.htmlDirectory, *options_.pngDirectory,
                                                       {device.screenWidth, device.screenHeight});
    for (const auto& file : result.written) observe({{"type", "png"}, {"file", file.string()}});
    for (const auto& problem : result.problems) observe({{"type", "png"}, {"problem", problem}});
}

std::size_t OTSimulator::storedEvents(const char* fileName) const {
    const auto stored =
        OTDataArchiver::getObjectsForPath<OTEvent>(environment_->sandbox().documentsDirectory() / fileName);
    return stored ? stored->size() : 0;
}

json OTSimulator::finalState() {
    json nodes = json::array();
    auto engine = OTSDKManager::sharedManager();
    if (auto tree = engine->campaigns().windowRecordTree()) {
        for (const auto& node : tree->allNodes()) {
            const auto record = std::static_pointer_cast<OTWindowRecordTreeNode>(node);
            nodes.push_back({{"id", record->nodeId()},
                             {"count", record->count()},
                             {"usedCount", record->usedCount()},
                             {"clickCount", record->clickCount()},
                             {"closeCount", record->closeCount()},
                             {"forbidden", record->forbidden()}});
        }
    }
    json state = {{"type", "state"},
                  {"dailyPopWindowCount", OTUserConfig::defaultConfig()->dailyPopWindowCount()},
                  {"nodes", nodes},
                  {"offlineWindowEvents", engine->reporter().cachedOfflineWindowEvents().size()},
                  {"offlinePushEvents", engine->reporter().cachedOfflinePushEvents().size()},
                  {"storedOfflineWindowEvents", storedEvents(OTEventReporter::kOfflineWindowEventsFileName)},
                  {"storedOfflinePushEvents", storedEvents(OTEventReporter::kOfflinePushEventsFileName)}};
    banners_->addState(state);
    return state;
}

// ---- Output ----

void OTSimulator::error(std::size_t line, const std::string& message) {
    observe({{"type", "error"}, {"line", line}, {"message", message}});
}

void OTSimulator::observe(json observation) {
    if (crashed()) return;
    record(std::move(observation));
}

void OTSimulator::record(json observation) {
    observation["t"] = manual_ ? std::chrono::duration<double>(manual_->clock()->now() - virtualBegan_).count()
                               : std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
    observations_.push_back(observation);
    print(observation);
}

void OTSimulator::print(const json& o) {
    // A simulation keeps its own transcript.
    if (options_.world) return;
    if (options_.json) out_ << o.dump() << std::endl;
    else if (options_.why || o["type"] != "decision") OTSimulatorTranscript::print(out_, o);
}

void OTSimulator::listenForDecisions() {
    CorvaneOtManager::setDecisionListener([this](const json& record) {
        auto observation = record;
        observation["type"] = "decision";
        observe(std::move(observation));
    });
}

}  // namespace corvane
