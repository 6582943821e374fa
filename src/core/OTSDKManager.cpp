#include "core/OTSDKManager.h"

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <utility>

#include "core/OTBannerHandler.h"
#include "core/OTCampaignStore.h"
#include "core/OTDecisionTrace.h"
#include "core/OTDialogFlow.h"
#include "core/OTDispatchQueueManager.h"
#include "core/OTDisplayEligibility.h"
#include "core/OTInAppWalk.h"
#include "core/OTNavigation.h"
#include "core/OTPageCollection.h"
#include "core/OTPopWindowManager.h"
#include "core/OTPushManager.h"
#include "core/OTSwizzler.h"
#include "core/OTTaskManager.h"
#include "foundation/OTDescription.h"
#include "foundation/OTFiles.h"
#include "foundation/OTJSONLimits.h"
#include "foundation/OTJSONValue.h"
#include "foundation/OTLogFormatter.h"
#include "foundation/OTNotificationCenter.h"
#include "model/OTEvent.h"
#include "model/OTSAEventAdapter.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "platform/OTEnvironment.h"
#include "server/OTCampaignDownloader.h"
#include "server/OTEventReporter.h"
#include "server/OTIdentityUploader.h"
#include "server/OTLoginClient.h"
#include "server/OTNetwork.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"
#include "services/OTReachability.h"
#include "services/OTReachabilityManager.h"
#include "services/OTUserConfig.h"
#include "services/OTUtils.h"
#include "view/OTViewController.h"

namespace corvane {

namespace {
// A user id as the analytics SDK hands it: a text, or a number's decimal text; nothing otherwise.
std::optional<std::string> userIdText(const nlohmann::json& value) {
    if (value.is_number()) return OTDescription::numberText(value);
    return OTJSONValue::text(value);
}

// A campaign id as a decision names it: null when it has none.
nlohmann::json campaignIdValue(const std::optional<std::string>& id) {
    return id ? nlohmann::json(*id) : nlohmann::json();
}
}  // namespace

OTSDKManager::OTSDKManager(OTEnvironment& environment)
    : OTSDKManager(environment, OTSDKManagerCollaborators::of(environment)) {}

OTSDKManager::OTSDKManager(OTEnvironment& environment, Collaborators collaborators)
    : environment_(environment),
      lane_(environment.queue(kEventQueueLabel)),
      notifications_(environment.notificationCenterHandle()),
      session_(std::move(collaborators.session)),
      login_(std::move(collaborators.login)),
      downloader_(std::move(collaborators.downloader)),
      reporter_(std::move(collaborators.reporter)),
      identity_(std::move(collaborators.identity)),
      bannerLists_(std::move(collaborators.bannerLists)),
      aliases_(std::move(collaborators.aliases)),
      tasks_(std::move(collaborators.tasks)),
      popWindows_(std::move(collaborators.popWindows)),
      swizzler_(std::move(collaborators.swizzler)),
      push_(std::move(collaborators.push)),
      reachability_(std::move(collaborators.reachability)),
      settings_(std::move(collaborators.settings)),
      campaigns_(std::make_unique<OTCampaignStore>(session_)),
      eligibility_(std::make_unique<OTDisplayEligibility>(
          environment, session_, settings_, [this] { return campaigns_->windowRecordTree(); },
          [this] { campaigns_->syncRecordTree(); })),
      dialogs_(std::make_unique<OTDialogFlow>(*this)),
      walk_(std::make_unique<OTInAppWalk>(*this)) {
    campaigns_->restore(environment.clock().now());
    session_->network()->setConfig(OTNetworkConfig{});
    startReachability();
    registerNotifications();
}

OTSDKManager::~OTSDKManager() {
    if (auto center = notifications_.lock()) center->removeObserver(this);
}

std::shared_ptr<OTSDKManager> OTSDKManager::sharedManager() {
    auto environment = OTEnvironment::current();
    return environment->singleton<OTSDKManager>([&] { return std::make_shared<OTSDKManager>(*environment); });
}

void OTSDKManager::onLane(std::function<void(OTSDKManager&)> work) {
    if (lane_->isCurrent()) {
        work(*this);
        return;
    }
    lane_->async([weak = weak_from_this(), work = std::move(work)] {
        if (auto self = weak.lock()) work(*self);
    });
}

void OTSDKManager::checkLane(const char* what) const {
#ifndef NDEBUG
    if (lane_->isCurrent()) return;
    std::fprintf(stderr, "CorvaneOstrel: %s off the event queue\n", what);
    std::abort();
#else
    (void)what;
#endif
}

void OTSDKManager::setScheduledDialog(std::shared_ptr<const OTWindowData> data) {
    checkLane("setScheduledDialog");
    scheduledDialog_ = std::move(data);
}

OTDecisionTrace* OTSDKManager::currentTrace() const {
    checkLane("currentTrace");
    return currentTrace_;
}

OTSDKManager::TraceScope::TraceScope(OTSDKManager& engine, OTDecisionTrace* trace)
    : engine_(engine), previous_(engine.currentTrace()) {
    engine_.currentTrace_ = trace;
}

OTSDKManager::TraceScope::~TraceScope() { engine_.currentTrace_ = previous_; }

std::shared_ptr<const OTWindowData> OTSDKManager::scheduledDialog() const {
    checkLane("scheduledDialog");
    return scheduledDialog_;
}

std::shared_ptr<OTSDKManager> OTSDKManager::managerWithGroupIdentifier(
    const std::optional<std::string>& groupIdentifier) {
    if (groupIdentifier && !groupIdentifier->empty()) session_->setGroupIdentifier(groupIdentifier);
    return shared_from_this();
}

std::string OTSDKManager::SDKVersion() { return OTServerSession::kSDKVersion; }

std::shared_ptr<CorvaneOtConfig> OTSDKManager::configuration() const { return session_->configuration(); }

std::optional<std::string> OTSDKManager::mainPage() const {
    const auto configuration = this->configuration();
    return configuration ? configuration->mainPage() : std::nullopt;
}

void OTSDKManager::startWithConfiguration(const std::shared_ptr<CorvaneOtConfig>& configuration) {
    environment_.console().print("startWithConfiguration");
    if (!configuration) {
        OTLog(OTLogger::kLevelError, "启动配置为空，忽略本次启动");
        return;
    }
    std::call_once(launchOnce_, [this] {
        startPageCollection();
        startWindowObservation();
        sweepLeftovers();
    });
    session_->setConfiguration(configuration);
    if (!configuration->pushClosed()) registerForRemoteNotifications(*configuration);
    if (auto url = configuration->url(); url && !url->empty()) configureCustomServer(*url);
    if (configuration->logLevelType() != 0) {
        OTLogger::configLogLevel(static_cast<std::int64_t>(configuration->logLevelType()));
    }
    loginThenDownload();
}

void OTSDKManager::sweepLeftovers() {
    environment_.scheduler().backgroundQueue()->async([weak = weak_from_this()] {
        auto self = weak.lock();
        if (!self) return;
        const auto& sandbox = self->environment_.sandbox();
        const auto removed = self->environment_.files().sweepTemporaryFiles(sandbox.root(), sandbox.openedAt());
        if (removed > 0) OTLog(OTLogger::kLevelWarn, "已清理上次运行中断写入留下的 %@ 个临时文件", removed);
    });
}

void OTSDKManager::registerNotifications() {
    // Registered during construction, before any owner exists to hold weakly; the destructor
    // removes it.
    environment_.notificationCenter().addObserver(this, OTReachability::kNetworkDidChangeNotification,
                                                  [this](const OTNotificationCenter::Notification& notification) {
                                                      networkStatusDidChange(notification.objectAs<OTReachability>());
                                                  });
}

void OTSDKManager::onEventDataReceived(const nlohmann::json& event) {
    // Checked before the copy for the queue: copying is recursive and runs on the host's thread.
    if (!OTJSONLimits::withinDepth(event)) {
        OTLog(OTLogger::kLevelError, "事件嵌套超过 %@ 层，已忽略", OTJSONLimits::kMaxDepth);
        return;
    }
    lane_->async([weak = weak_from_this(), event] {
        auto self = weak.lock();
        if (!self || !event.is_object()) return;
        std::int64_t source = 0;
        if (const auto it = event.find("source"); it != event.end() && !it->is_null()) {
            const auto value = OTJSONValue::integerValue(*it);
            if (!value) return;
            source = *value;
        }
        if (source == 1) self->_handleSAEvent(event);
        else if (source == 0) self->_handleCorvaneEvent(event);
    });
}

void OTSDKManager::onUserProfile(const nlohmann::json& profile) {
    if (!profile.is_object() || !OTJSONLimits::withinDepth(profile)) return;
    for (const auto& [key, value] : profile.items()) {
        if (key == "xwho") handleXwho(userIdText(value));
        else if (key == "calibration_time") handleCalibrationTime(value);
    }
}

void OTSDKManager::onUserProfile(const std::string& key, const nlohmann::json& value) {
    // The server time offset is deliberately not taken on this path.
    if (key == "xwho") handleXwho(userIdText(value));
}

void OTSDKManager::_handleCorvaneEvent(const nlohmann::json& event) {
    OTLog(OTLogger::kLevelData, "收到岚桥 event 回调：\n%@", event);
    handleUserProfileUpload(event, 0);
    triggerEventMatchWithData(event, 0);
}

void OTSDKManager::_handleSAEvent(const nlohmann::json& event) {
    OTLog(OTLogger::kLevelData, "收到神策 event 回调：\n%@", event);
    // The adapter keeps no state: a fresh one adapts as the shared one would.
    const auto adapted = OTSAEventAdapter().adaptEvent(event, 1).value_or(nlohmann::json());
    handleUserProfileUpload(adapted, 1);
    triggerEventMatchWithData(adapted, 1);
}

void OTSDKManager::handleUserProfileUpload(const nlohmann::json& event, std::int64_t) {
    checkLane("handleUserProfileUpload");
    if (!event.is_object()) return;
    if (const auto what = event.find("xwhat"); what != event.end() && *what == "$pageview") ++pvCount_;
    const auto mainPage = this->mainPage();
    if (!mainPage || mainPage->empty()) return;
    const auto context = event.find("xcontext");
    if (context == event.end() || !context->is_object()) return;
    if (const auto url = context->find("$url"); url != context->end() && *url == *mainPage) {
        ++mainPagePVCount_;
    }
}

void OTSDKManager::handleXwho(const std::optional<std::string>& newUserId) {
    auto settings = settings_->configWithGroupIdentifier(session_->groupIdentifier());
    std::string stored;
    {
        std::lock_guard decision(userChangeMutex_);
        stored = settings->userId().value_or("");
        session_->setUserId(stored);
        // With nothing stored an empty id is no change; a missing id always is one.
        if (newUserId == stored) return;
        session_->setUserId(newUserId);
        settings->setUserId(newUserId);
    }

    auto condition = [weak = weak_from_this()] {
        auto self = weak.lock();
        if (!self) return false;
        const auto user = self->session_->userId();
        const auto token = self->session_->token();
        return user && !user->empty() && token && !token->empty();
    };
    auto uploadToken = OTTask::taskWithCondition(condition, [weak = weak_from_this()] {
        if (auto self = weak.lock()) self->identity_->uploadPushToken();
    });
    uploadToken->setTaskId("uploadPushToken");
    // The alias links the previous identity to the one just stored.
    auto uploadAlias = OTTask::taskWithCondition(condition, [weak = weak_from_this(), previous = stored] {
        if (auto self = weak.lock()) self->identity_->alias(previous);
    });
    tasks_->addTask(uploadToken);
    tasks_->addTask(uploadAlias);

    // The old user's usage goes before the new user's lists are asked for, so that no answer can
    // be merged into a tree that is then wiped; on the event queue, between two events.
    onLane([settings](OTSDKManager& engine) {
        // The old user's count and records go together.
        OTFileSystem::Batch batch(engine.environment_.files());
        settings->clearDialog();
        if (auto tree = engine.campaigns_->windowRecordTree()) tree->removeAllTreeNodes();
        engine.campaigns_->syncRecordTree();
        batch.commit();
        if (!engine.downloader_->isPullingData()) engine.getListData(true);
    });
}

void OTSDKManager::handleCalibrationTime(const nlohmann::json& value) {
    if (value.is_null() || value.is_discarded()) return;
    const auto reading = OTJSONValue::doubleValue(value);
    if (!reading) return;
    // Kept at single precision; what a float cannot hold is no offset at all.
    const auto offset = OTJSONValue::floatValue(*reading);
    if (!offset) {
        OTLog(OTLogger::kLevelError, "calibration_time 超出范围，已忽略：%@", value);
        return;
    }
    session_->setCalibrationTime(static_cast<double>(*offset));
}

void OTSDKManager::autoPageCollected(const std::shared_ptr<OTViewController>& controller) {
    const auto mainPage = this->mainPage();
    if (controller && mainPage && !mainPage->empty() && controller->className() == *mainPage) {
        // Seen on the main queue, kept by the event queue.
        onLane([controller](OTSDKManager& engine) { engine.mainPageController_ = controller; });
    }
}

void OTSDKManager::triggerEventMatchWithData(const nlohmann::json& data, std::optional<std::int64_t> source) {
    checkLane("triggerEventMatchWithData");
    if (data.is_object()) {
        if (const auto it = data.find("appid"); it != data.end()) session_->setAppid(OTJSONValue::text(*it));
    }
    auto event = std::make_shared<OTEvent>();
    event->setModelWithDic(data);
    currentTriggerEvent_.set(event);
    const auto trace = makeTrace(*event, source, "event", 0);
    TraceScope scope(*this, trace.get());
    triggerEventMatchSubscribe(event);
    // While a dialog is on screen, or decided and waiting for its delay, neither dialogs nor
    // banners are matched for this event.
    const auto scheduled = scheduledDialog_;
    if (!popWindows_->isHandlingPopWindow() && !scheduled) {
        triggerEventMatchInApp(event, 0);
        triggerEventMatchBanner(event);
    } else if (trace && scheduled) {
        trace->setOutcome("heldBack",
                          OTDecisionTrace::reason("dialogScheduled", {{"id", campaignIdValue(scheduled->windowId())}}));
    } else if (trace) {
        std::optional<std::string> shown;
        for (const auto& view : popWindows_->popWindows()) {
            if ((shown = view->campaignId())) break;
        }
        trace->setOutcome("heldBack", OTDecisionTrace::reason("dialogOnScreen", {{"id", campaignIdValue(shown)}}));
    }
    if (trace) trace->close();
}

void OTSDKManager::triggerEventMatchSubscribe(const std::shared_ptr<OTEvent>& event) {
    const auto campaigns = campaigns_->subscribeDataArray();
    auto* trace = currentTrace();
    for (std::size_t i = 0; i < campaigns.size(); ++i) {
        const auto& campaign = campaigns[i];
        if (campaign && event->matches(campaign->event())) {
            downloader_->triggerEvent(event);
            if (trace == nullptr) return;
            trace->end(OTDecisionTrace::Kind::Subscribe, campaign->windowId(), "sentToServer");
            trace->notExamined(OTDecisionTrace::Kind::Subscribe, campaigns.size() - i - 1, [&](std::size_t k) {
                const auto& later = campaigns[i + 1 + k];
                return later ? later->windowId() : std::nullopt;
            });
            return;
        }
        if (trace != nullptr && campaign) {
            trace->add(OTDecisionTrace::Kind::Subscribe, campaign->windowId(), "notMatched",
                       [&] { return event->mismatch(campaign->event().get()); });
        }
    }
}

void OTSDKManager::triggerEventMatchBanner(const std::shared_ptr<OTEvent>& event) {
    const auto configuration = this->configuration();
    auto handler = bannerHandler();
    if (configuration && configuration->bannerClosed()) {
        if (handler && currentTrace() != nullptr) handler->traceBannersClosed(*currentTrace());
        return;
    }
    if (handler) handler->triggerEventMatch(event, currentTrace());
}

// ---- Decision trace ----

void OTSDKManager::setDecisionListener(DecisionListener listener) {
    decisionListener_.set(listener ? std::make_shared<const DecisionListener>(std::move(listener)) : nullptr);
}

std::shared_ptr<OTDecisionTrace> OTSDKManager::makeTrace(const OTEvent& event, std::optional<std::int64_t> source,
                                                         const char* pass, std::uint64_t startIndex) const {
    auto listener = decisionListener_.get();
    if (!listener) return nullptr;
    // Handed over on the main queue, in the order the passes end.
    return std::make_shared<OTDecisionTrace>(
        event, source, pass, startIndex,
        [queue = environment_.mainQueue(), listener = std::move(listener)](nlohmann::json record) {
            queue->async([listener, record = std::move(record)] { (*listener)(record); });
        });
}

void OTSDKManager::triggerEventMatchInApp(const std::shared_ptr<OTEvent>& event, std::uint64_t startIndex,
                                          const char* pass) {
    checkLane("triggerEventMatchInApp");
    walk_->run(event, startIndex, pass);
}

OTSDKManager::Waiting OTSDKManager::addWaitingEvent(const std::shared_ptr<OTEvent>& event) {
    checkLane("addWaitingEvent");
    if (!event) return Waiting::NoEvent;
    if (waitingEvents_.size() >= kMaxWaitingEventsCount) return Waiting::ListFull;
    for (const auto& held : waitingEvents_) {
        if (held == event || held->matches(event)) return Waiting::AlreadyWaiting;
    }
    waitingEvents_.push_back(event);
    return Waiting::Kept;
}

void OTSDKManager::startPageCollection() {
    auto collection = std::make_shared<OTPageCollection>(environment_.scheduler(), swizzler_);
    pageCollection_.set(collection);
    collection->setDelegate(shared_from_this());
    collection->collectPage();
}

void OTSDKManager::startWindowObservation() {
    swizzler_->swizzleSelector(
        "willRemoveSubview:", "UIWindow",
        [weak = weak_from_this()](const OTMethodRuntime::Receiver&, const std::string&,
                                  const OTMethodRuntime::Arguments& arguments) {
            auto self = weak.lock();
            if (!self) return;
            std::optional<std::string> removed;
            if (!arguments.empty()) {
                if (const auto* name = std::any_cast<std::string>(&arguments.front())) removed = *name;
            }
            // The main page and its views are the event queue's; the window is asked on the main queue.
            self->onLane([removed](OTSDKManager& lane) {
                if (lane.mainPagePVCount_ >= 2) return;
                const auto controller = lane.mainPageController_;
                bool onTop = false;
                OTDispatchQueueManager::dispatchInMainThread(
                    lane.environment_.scheduler(),
                    [&] {
                        onTop =
                            OTNavigation(lane.environment_.uiHost()).isControllerOnTopOfKeyWindow(controller, removed);
                    },
                    false);
                if (!onTop) return;
                lane.environment_.mainQueue()->after(std::chrono::milliseconds(100), [weak = lane.weak_from_this()] {
                    if (auto engine = weak.lock()) {
                        engine->onLane([](OTSDKManager& again) {
                            again.triggerEventMatchInApp(again.cachedFirstPVEventOfMainPage_, 0, "mainPageReplay");
                        });
                    }
                });
            });
        },
        "ot_willRemoveSubview");
}

void OTSDKManager::exchangeMethod() {
    if (!swizzler_->runtime().classExists("CorvaneSDK")) return;
    swizzler_->swizzleSelector(
        "saveUploadInfo:event:handler:", "CorvaneSDK",
        [weak = weak_from_this()](const OTMethodRuntime::Receiver&, const std::string&,
                                  const OTMethodRuntime::Arguments& arguments) {
            auto self = weak.lock();
            if (!self || arguments.size() < 2) return;
            if (const auto* event = std::any_cast<nlohmann::json>(&arguments[1])) self->onEventDataReceived(*event);
        },
        "ot_saveUploadInfo");
}

void OTSDKManager::registerForRemoteNotifications(const CorvaneOtConfig& configuration) {
    push_->registerForRemoteNotificationWithDelegate(configuration.notificationCenterDelegate());
}

void OTSDKManager::networkStatusDidChange(const std::shared_ptr<OTReachability>& reachability) {
    OTLog(OTLogger::kLevelLog, "网络状态发生变化，当前网络：%@", reachability_->telephonyNetworkDescrition());
    if (reachability && reachability->networkStatus() != OTReachability::kNotReachable)
        reporter_->reportCachedOfflineEvents();
}

void OTSDKManager::startReachability() { reachability_->startReachability(); }

void OTSDKManager::setBannerHandlerIfNone(const std::function<std::shared_ptr<OTBannerHandler>()>& make) {
    if (bannerHandler()) return;
    auto handler = make();
    bannerHandler_.modify([&handler](auto& current) {
        if (!current) current = std::move(handler);
    });
}

void OTSDKManager::loadBanners() {
    auto handler = bannerHandler();
    if (!handler) return;
    const auto group = session_->groupIdentifier();
    handler->loadBannerDefault(group);
    handler->loadBanner(group);
}

// ---- Server link ----

void OTSDKManager::configureCustomServer(const std::string& url) {
    session_->network()->setConfig(OTNetworkConfig::withBaseURL(url));
}

void OTSDKManager::loginThenDownload() {
    login_->loginWithCompletion([weak = weak_from_this()] {
        if (auto self = weak.lock()) self->getListData(false);
    });
}

void OTSDKManager::getListData(bool force) {
    std::weak_ptr<OTSDKManager> weak = weak_from_this();
    // The answers come on the HTTP thread; the lists are taken in on the event queue.
    downloader_->getListData(force,
                             {[weak](std::vector<std::shared_ptr<const OTWindowData>> campaigns) {
                                  if (auto self = weak.lock()) {
                                      self->onLane([campaigns = std::move(campaigns)](OTSDKManager& engine) mutable {
                                          engine.acceptInAppList(std::move(campaigns));
                                      });
                                  }
                              },
                              [weak](std::vector<std::shared_ptr<const OTWindowData>> campaigns) {
                                  if (auto self = weak.lock()) {
                                      self->onLane([campaigns = std::move(campaigns)](OTSDKManager& engine) mutable {
                                          engine.acceptSubscribeList(std::move(campaigns));
                                      });
                                  }
                              },
                              [weak] {
                                  if (auto self = weak.lock())
                                      self->onLane([](OTSDKManager& engine) { engine.loadBanners(); });
                              }});
}

void OTSDKManager::acceptInAppList(std::vector<std::shared_ptr<const OTWindowData>> campaigns) {
    checkLane("acceptInAppList");
    campaigns_->mergeInAppList(campaigns, environment_.clock().now());
    if (!campaigns.empty()) reportWindowEventWithName("$pullDialog", 0, campaigns.front());

    // Only the opening page view is worth a late dialog: the first waiting one is replayed.
    auto& console = environment_.console();
    // Taken and cleared in one step: an event kept meanwhile waits for the next list, none is lost.
    const auto waiting = std::exchange(waitingEvents_, {});
    nlohmann::json described = nlohmann::json::array();
    for (const auto& event : waiting) described.push_back(event->description());
    const OTLogArgument waitingArgument[] = {described};
    console.print(OTLogFormatter::format("waitingEvents:%@", waitingArgument));
    std::shared_ptr<OTEvent> replayed;
    for (const auto& event : waiting) {
        const OTLogArgument eventArgument[] = {event};
        console.print(OTLogFormatter::format("event:%@", eventArgument));
        if (event->xwhat() == "$pageview") {
            replayed = event;
            triggerEventMatchInApp(event, 0, "waitingEvent");
            break;
        }
    }
    // The others are dropped: a trace tells of each.
    for (const auto& event : waiting) {
        const auto trace = event != replayed ? makeTrace(*event, std::nullopt, "waitingEvent", 0) : nullptr;
        if (!trace) continue;
        trace->setOutcome("dropped", OTDecisionTrace::reason("noCampaignsYet", {{"waiting", waiting.size()},
                                                                                {"max", maxWaitingEventsCount()},
                                                                                {"discarded", "notReplayed"}}));
        trace->close();
    }
    campaigns_->syncInAppData();
}

void OTSDKManager::acceptSubscribeList(std::vector<std::shared_ptr<const OTWindowData>> campaigns) {
    checkLane("acceptSubscribeList");
    campaigns_->setSubscribeDataArray(std::move(campaigns));
    campaigns_->syncSubscribeData();
}

// ---- Push identity and mailed logs ----

void OTSDKManager::pushToken(const CorvanePushToken& token, const std::optional<std::string>& groupIdentifier) {
    pushToken(token, OTIdentityUploader::kProviderApple, groupIdentifier);
}

void OTSDKManager::pushToken(const CorvanePushToken& token, std::uint64_t provider,
                             const std::optional<std::string>& groupIdentifier) {
    const auto acceptance = identity_->acceptPushToken(token, provider, groupIdentifier);
    if (acceptance != OTIdentityUploader::Acceptance::Due && acceptance != OTIdentityUploader::Acceptance::Blocked) {
        return;
    }
    // Decided now, on purpose: a task made before the user and the address were both known waits
    // out its time and keeps its place, and later uploads come from a change of user.
    const bool ready = acceptance == OTIdentityUploader::Acceptance::Due;
    auto upload = OTTask::taskWithCondition([ready] { return ready; },
                                            [weak = weak_from_this()] {
                                                if (auto self = weak.lock()) self->identity_->uploadPushToken();
                                            });
    upload->setTaskId("uploadPushToken");
    tasks_->addTask(upload);
}

void OTSDKManager::sendLogToEmail(const std::string& address, const std::shared_ptr<OTViewController>& controller) {
    std::vector<std::vector<std::uint8_t>> attachments;
    std::vector<std::string> names;
    for (const auto& path :
         OTLogger::logFilesOfDirectory(environment_.sandbox().documentsDirectory() / OTLogger::kFolderName)) {
        // The logger streams its files to the device's disk itself, not through the sandbox's files.
        const auto bytes = OTFiles::readFile(path);
        if (!bytes) continue;
        attachments.emplace_back(bytes->begin(), bytes->end());
        names.push_back(path.filename().string());
    }
    const OTLogArgument version[] = {OTServerSession::kSDKVersion};
    const auto subject = OTLogFormatter::format("CorvaneOstrel v%@ 用户行为日志", version);
    OTDispatchQueueManager::dispatchInMainThread(
        environment_.scheduler(),
        [address, subject, attachments = std::move(attachments), names = std::move(names), controller,
         host = environment_.uiHostHandle()] {
            OTUtils::sendEmailTo(address, subject, attachments, names,
                                 controller ? controller : OTNavigation(*host).currentViewController());
        },
        true);
}

// ---- Usage reports and offline queues ----

nlohmann::json OTSDKManager::triggerContext() const {
    const auto trigger = currentTriggerEvent();
    return trigger ? trigger->xcontext() : nlohmann::json();
}

void OTSDKManager::reportWindowEventWithName(const std::string& name, std::int64_t type,
                                             const std::shared_ptr<const OTWindowData>& data) {
    reporter_->reportWindowEventWithName(name, type, data, triggerContext());
}

void OTSDKManager::reportPushEventWithType(std::int64_t type, const nlohmann::json& msg,
                                           const std::optional<std::string>& groupIdentifier) {
    reporter_->reportPushEventWithType(type, msg, groupIdentifier, triggerContext());
}

void OTSDKManager::pushTrack(std::int64_t type, const nlohmann::json& msg,
                             const std::optional<std::string>& groupIdentifier) {
    if (!OTJSONLimits::withinDepth(msg)) {
        OTLog(OTLogger::kLevelError, "推送消息嵌套超过 %@ 层，已忽略", OTJSONLimits::kMaxDepth);
        return;
    }
    reportPushEventWithType(type, msg, groupIdentifier);
    if (type == 1) push_->handlePush(1, msg);
}

}  // namespace corvane
