#include "core/OTSDKManager.h"

#include <utility>

#include "core/OTDispatchQueueManager.h"
#include "core/OTFirstPageViewRules.h"
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
#include "model/OTEvent.h"
#include "model/OTSAEventAdapter.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "server/OTNetwork.h"
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
}  // namespace

OTSDKManager::OTSDKManager(OTEnvironment& environment)
    : environment_(environment),
      notifications_(environment.notificationCenterHandle()),
      session_(std::make_shared<OTServerSession>(environment)),
      login_(std::make_shared<OTLoginClient>(session_)),
      downloader_(std::make_shared<OTCampaignDownloader>(session_, login_)),
      reporter_(std::make_shared<OTEventReporter>(session_, login_)),
      identity_(std::make_shared<OTIdentityUploader>(session_, login_, reporter_)),
      campaigns_(std::make_unique<OTCampaignStore>(session_)),
      eligibility_(std::make_unique<OTDisplayEligibility>(
          environment, session_, [this] { return windowRecordTree(); }, [this] { syncRecordTree(); })),
      dialogs_(std::make_unique<OTDialogFlow>(*this)) {
    campaigns_->restore(environment.clock().now());
    startReachability();
    registerNotifications();
}

OTSDKManager::~OTSDKManager() {
    if (auto center = notifications_.lock()) center->removeObserver(this);
}

std::shared_ptr<OTSDKManager> OTSDKManager::sharedManager() {
    auto environment = OTEnvironment::current();
    return environment->singleton<OTSDKManager>([&] {
        auto manager = std::make_shared<OTSDKManager>(*environment);
        manager->connectServerLink();
        manager->installDefaultServerEnvironments();
        return manager;
    });
}

std::shared_ptr<OTSDKManager> OTSDKManager::managerWithGroupIdentifier(
    const std::optional<std::string>& groupIdentifier) {
    if (groupIdentifier && !groupIdentifier->empty()) setGroupIdentifier(groupIdentifier);
    return shared_from_this();
}

void OTSDKManager::startWithConfiguration(const std::shared_ptr<CorvaneOtConfig>& configuration) {
    environment_.console().print("startWithConfiguration");
    if (!configuration) {
        OTLog(OTLogger::kLevelError, "启动配置为空，忽略本次启动");
        return;
    }
    std::call_once(interceptionOnce_, [this] {
        startPageCollection();
        startWindowObservation();
    });
    setConfiguration(configuration);
    if (!configuration->pushClosed()) registerForRemoteNotifications(*configuration);
    if (auto url = configuration->url(); url && !url->empty()) configureCustomServer(*url);
    if (configuration->logLevelType() != 0) {
        OTLogger::configLogLevel(static_cast<std::int64_t>(configuration->logLevelType()));
    }
    loginThenDownload();
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
    environment_.queue(kEventQueueLabel)->async([weak = weak_from_this(), event] {
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
    triggerEventMatchWithData(event);
}

void OTSDKManager::_handleSAEvent(const nlohmann::json& event) {
    OTLog(OTLogger::kLevelData, "收到神策 event 回调：\n%@", event);
    const auto adapted = OTSAEventAdapter::adapter()->adaptEvent(event, 1).value_or(nlohmann::json());
    handleUserProfileUpload(adapted, 1);
    triggerEventMatchWithData(adapted);
}

void OTSDKManager::handleUserProfileUpload(const nlohmann::json& event, std::int64_t) {
    if (!event.is_object()) return;
    if (const auto what = event.find("xwhat"); what != event.end() && *what == "$pageview") pvCount_.fetch_add(1);
    const auto configuration = this->configuration();
    const auto mainPage = configuration ? configuration->mainPage() : std::nullopt;
    if (!mainPage || mainPage->empty()) return;
    const auto context = event.find("xcontext");
    if (context == event.end() || !context->is_object()) return;
    if (const auto url = context->find("$url"); url != context->end() && *url == *mainPage) {
        mainPagePVCount_.fetch_add(1);
    }
}

void OTSDKManager::handleXwho(const std::optional<std::string>& newUserId) {
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(groupIdentifier());
    std::string stored;
    {
        std::lock_guard decision(userChangeMutex_);
        stored = settings->userId().value_or("");
        setUserId(stored);
        // With nothing stored an empty id is no change; a missing id always is one.
        if (newUserId == stored) return;
        setUserId(newUserId);
        settings->setUserId(newUserId);
    }

    auto condition = [weak = weak_from_this()] {
        auto self = weak.lock();
        if (!self) return false;
        const auto user = self->userId();
        const auto token = self->token();
        return user && !user->empty() && token && !token->empty();
    };
    auto uploadToken = OTTask::taskWithCondition(condition, [weak = weak_from_this()] {
        if (auto self = weak.lock()) self->uploadPushToken();
    });
    uploadToken->setTaskId("uploadPushToken");
    // The alias links the previous identity to the one just stored.
    auto uploadAlias = OTTask::taskWithCondition(condition, [weak = weak_from_this(), previous = stored] {
        if (auto self = weak.lock()) self->alias(previous);
    });
    auto tasks = OTTaskManager::manager();
    tasks->addTask(uploadToken);
    tasks->addTask(uploadAlias);

    // The old user's usage goes before the new user's lists are asked for, so that no answer can
    // be merged into a tree that is then wiped.
    settings->clearDialog();
    if (auto tree = windowRecordTree()) tree->removeAllTreeNodes();
    syncRecordTree();
    if (!isPullingData()) getListData(true);
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
    setCalibrationTime(static_cast<double>(*offset));
}

void OTSDKManager::autoPageCollected(const std::shared_ptr<OTViewController>& controller) {
    const auto configuration = this->configuration();
    const auto mainPage = configuration ? configuration->mainPage() : std::nullopt;
    if (controller && mainPage && !mainPage->empty() && controller->className() == *mainPage) {
        setMainPageController(controller);
    }
}

void OTSDKManager::triggerEventMatchWithData(const nlohmann::json& data) {
    if (data.is_object()) {
        if (const auto it = data.find("appid"); it != data.end()) setAppid(OTJSONValue::text(*it));
    }
    auto event = std::make_shared<OTEvent>();
    event->setModelWithDic(data);
    setCurrentTriggerEvent(event);
    triggerEventMatchSubscribe(event);
    // While a dialog is on screen neither dialogs nor banners are matched for this event.
    if (!OTPopWindowManager::sharedManager()->isHandlingPopWindow()) {
        triggerEventMatchInApp(event, 0);
        triggerEventMatchBanner(event);
    }
}

void OTSDKManager::triggerEventMatchSubscribe(const std::shared_ptr<OTEvent>& event) {
    for (const auto& campaign : subscribeDataArray()) {
        if (campaign && event->matches(campaign->event())) {
            triggerEvent(event);
            return;
        }
    }
}

void OTSDKManager::triggerEventMatchBanner(const std::shared_ptr<OTEvent>& event) {
    const auto configuration = this->configuration();
    if (configuration && configuration->bannerClosed()) return;
    matchBanners(event);
}

namespace {
// The in-app walk under way on this thread: a step that goes on leaves its next step here.
struct InAppWalk {
    bool active = false;
    std::optional<std::pair<std::shared_ptr<OTEvent>, std::uint64_t>> next;
};
thread_local InAppWalk tInAppWalk;

}  // namespace

void OTSDKManager::triggerEventMatchInApp(const std::shared_ptr<OTEvent>& event, std::uint64_t startIndex) {
    auto& walk = tInAppWalk;
    if (walk.active) {
        walk.next = std::make_pair(event, startIndex);
        return;
    }
    walk.active = true;
    std::optional<std::pair<std::shared_ptr<OTEvent>, std::uint64_t>> step = std::make_pair(event, startIndex);
    while (step) {
        walk.next.reset();
        // Named copies, not a structured binding: lambdas below capture them.
        const auto current = step->first;
        const auto index = step->second;
        const auto list = campaigns_->inAppCampaigns();
        const auto& campaigns = *list;
        OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:event->%@,startIndex:%d,inAppDataArray:%d", current,
              index, campaigns.size());
        if (current) {
            if (campaigns.empty()) {
                addWaitingEvent(current);
            } else if (index < campaigns.size()) {
                setCurrentMatchEventIndex(static_cast<std::int64_t>(index));
                const auto& data = campaigns[index];
                const auto configuration = this->configuration();
                const auto mainPage = configuration ? configuration->mainPage() : std::nullopt;
                OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:%@", data);
                OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:windowData.type=%d,preEvent=%d",
                      data ? data->type() : 0, data ? data->preEvents().size() : 0);
                OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp->mainPage:%@", mainPage);
                const auto goNext = [&] { triggerEventMatchInApp(current, index + 1); };
                if (!data) {
                    goNext();
                } else if (data->type() != 0) {
                    const auto& preEvents = data->preEvents();
                    if (preEvents.size() == 1) {
                        handleEvent(current, data, index);
                    } else if (preEvents.empty() || !current->matches(preEvents.front())) {
                        goNext();
                    } else {
                        // The event only advances sequences: every campaign waiting on it moves on.
                        OTCampaignStore::Campaigns met;
                        for (const auto& other : campaigns) {
                            if (!other) continue;
                            const auto& waiting = other->preEvents();
                            if (waiting.size() >= 2 && current->matches(waiting.front())) met.push_back(other);
                        }
                        campaigns_->advanceSequences(met);
                    }
                } else if (mainPage && !mainPage->empty()) {
                    OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp->firstPVWithMainPage:event");
                    firstPVWithMainPage(current, data, index);
                } else {
                    OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp->firstPVWithoutMainPage:event ");
                    firstPVWithoutMainPage(current, data, index);
                }
            }
        }
        step = walk.next;
    }
    walk.next.reset();
    walk.active = false;
}

void OTSDKManager::handleEvent(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<const OTWindowData>& data,
                               std::uint64_t index) {
    OTLog(OTLogger::kLevelLog, "corvane->handleEvent:event->%@,windowData->%@", event, data);
    if (event->matches(data->event())) {
        OTLog(OTLogger::kLevelLog, "corvane->handleEvent-->maches");
        prepareForPopWindowWithData(data, event, index);
    } else {
        OTLog(OTLogger::kLevelLog, "corvane->handleEvent-->nomaches");
        triggerEventMatchInApp(event, index + 1);
    }
}

void OTSDKManager::firstPVWithoutMainPage(const std::shared_ptr<OTEvent>& event,
                                          const std::shared_ptr<const OTWindowData>& data, std::uint64_t index) {
    const auto page = OTFirstPageViewRules::visiblePage(nullptr);
    followFirstPageView(OTFirstPageViewRules::withoutMainPage(event, data, pvCount(), page), event, data, index);
}

void OTSDKManager::firstPVWithMainPage(const std::shared_ptr<OTEvent>& event,
                                       const std::shared_ptr<const OTWindowData>& data, std::uint64_t index) {
    const auto configuration = this->configuration();
    const std::string mainPage = configuration ? configuration->mainPage().value_or("") : std::string();
    const auto page = OTFirstPageViewRules::visiblePage(mainPageController());
    followFirstPageView(OTFirstPageViewRules::withMainPage(event, data, mainPage, mainPagePVCount(), page), event, data,
                        index);
}

void OTSDKManager::followFirstPageView(OTFirstPageViewRules::Outcome outcome, const std::shared_ptr<OTEvent>& event,
                                       const std::shared_ptr<const OTWindowData>& data, std::uint64_t index) {
    switch (outcome) {
        case OTFirstPageViewRules::Outcome::Show: prepareForPopWindowWithData(data, event, index); return;
        case OTFirstPageViewRules::Outcome::GoNext: triggerEventMatchInApp(event, index + 1); return;
        case OTFirstPageViewRules::Outcome::Defer:
            // The window observation replays it once the cover is removed.
            setCachedFirstPVEventOfMainPage(event);
            setMainPagePVCount(0);
            return;
    }
}

void OTSDKManager::addWaitingEvent(const std::shared_ptr<OTEvent>& event) {
    if (!event) return;
    // Matching logs, so the list is compared outside its lock; the event goes in only if the list
    // is still the one compared, else the comparison is made again on the list as it now is.
    for (;;) {
        const auto waiting = waitingEvents();
        if (waiting.size() >= maxWaitingEventsCount()) return;
        for (const auto& held : waiting) {
            if (held == event || held->matches(event)) return;
        }
        const bool added = waitingEvents_.modify([&](auto& list) {
            if (list != waiting) return false;
            list.push_back(event);
            return true;
        });
        if (added) return;
    }
}

void OTSDKManager::startPageCollection() {
    auto collection = std::make_shared<OTPageCollection>();
    setPageCollection(collection);
    collection->setDelegate(shared_from_this());
    collection->collectPage();
}

void OTSDKManager::startWindowObservation() {
    OTSwizzler::swizzleSelector(
        "willRemoveSubview:", "UIWindow",
        [weak = weak_from_this()](const OTMethodRuntime::Receiver&, const std::string&,
                                  const OTMethodRuntime::Arguments& arguments) {
            auto self = weak.lock();
            if (!self) return;
            std::optional<std::string> removed;
            if (!arguments.empty()) {
                if (const auto* name = std::any_cast<std::string>(&arguments.front())) removed = *name;
            }
            if (OTNavigation::isControllerOnTopOfKeyWindow(self->mainPageController(), removed) &&
                self->mainPagePVCount() < 2) {
                self->environment_.mainQueue()->after(std::chrono::milliseconds(100), [weak] {
                    if (auto engine = weak.lock())
                        engine->triggerEventMatchInApp(engine->cachedFirstPVEventOfMainPage(), 0);
                });
            }
        },
        "ot_willRemoveSubview");
}

void OTSDKManager::exchangeMethod() {
    if (!OTMethodRuntime::shared()->classExists("CorvaneSDK")) return;
    OTSwizzler::swizzleSelector(
        "saveUploadInfo:event:handler:", "CorvaneSDK",
        [](const OTMethodRuntime::Receiver&, const std::string&, const OTMethodRuntime::Arguments& arguments) {
            if (arguments.size() < 2) return;
            if (const auto* event = std::any_cast<nlohmann::json>(&arguments[1])) {
                OTSDKManager::sharedManager()->onEventDataReceived(*event);
            }
        },
        "ot_saveUploadInfo");
}

void OTSDKManager::registerForRemoteNotifications(const CorvaneOtConfig& configuration) {
    OTPushManager::sharedManager()->registerForRemoteNotificationWithDelegate(
        configuration.notificationCenterDelegate());
}

void OTSDKManager::networkStatusDidChange(const std::shared_ptr<OTReachability>& reachability) {
    OTLog(OTLogger::kLevelLog, "网络状态发生变化，当前网络：%@",
          OTReachabilityManager::sharedManager()->telephonyNetworkDescrition());
    if (reachability && reachability->networkStatus() != OTReachability::kNotReachable) reportCachedOfflineEvents();
}

void OTSDKManager::startReachability() { OTReachabilityManager::sharedManager()->startReachability(); }

void OTSDKManager::setBannerHandlerIfNone(const std::function<std::shared_ptr<OTBannerHandler>()>& make) {
    if (bannerHandler()) return;
    auto handler = make();
    bannerHandler_.modify([&handler](auto& current) {
        if (!current) current = std::move(handler);
    });
}

void OTSDKManager::matchBanners(const std::shared_ptr<OTEvent>& event) {
    if (auto handler = bannerHandler()) handler->triggerEventMatch(event);
}

void OTSDKManager::loadBanners() {
    auto handler = bannerHandler();
    if (!handler) return;
    const auto group = groupIdentifier();
    handler->loadBannerDefault(group);
    handler->loadBanner(group);
}

// ---- Server link ----

void OTSDKManager::installDefaultServerEnvironments() { OTNetwork::configEnvironment(OTNetworkConfig{}); }

void OTSDKManager::configureCustomServer(const std::string& url) {
    OTNetwork::configEnvironment(OTNetworkConfig::withBaseURL(url));
}

void OTSDKManager::connectServerLink() {
    std::weak_ptr<OTSDKManager> weak = weak_from_this();
    downloader_->setInAppListHandler([weak](std::vector<std::shared_ptr<const OTWindowData>> campaigns) {
        if (auto self = weak.lock()) self->acceptInAppList(std::move(campaigns));
    });
    downloader_->setSubscribeListHandler([weak](std::vector<std::shared_ptr<const OTWindowData>> campaigns) {
        if (auto self = weak.lock()) self->acceptSubscribeList(std::move(campaigns));
    });
    downloader_->setBannerLoader([weak] {
        if (auto self = weak.lock()) self->loadBanners();
    });
}

void OTSDKManager::loginThenDownload() {
    loginWithCompletion([weak = weak_from_this()] {
        if (auto self = weak.lock()) self->getListData(false);
    });
}

void OTSDKManager::loginWithCompletion(const std::function<void()>& completion) {
    login_->loginWithCompletion(completion);
}

void OTSDKManager::acceptInAppList(std::vector<std::shared_ptr<const OTWindowData>> campaigns) {
    campaigns_->mergeInAppList(campaigns, environment_.clock().now());
    if (!campaigns.empty()) reportWindowEventWithName("$pullDialog", 0, campaigns.front());

    // Only the opening page view is worth a late dialog: the first waiting one is replayed.
    auto& console = environment_.console();
    // Taken and cleared in one step: an event kept meanwhile waits for the next list, none is lost.
    const auto waiting = waitingEvents_.modify([](auto& list) { return std::exchange(list, {}); });
    nlohmann::json described = nlohmann::json::array();
    for (const auto& event : waiting) described.push_back(event->description());
    const OTLogArgument waitingArgument[] = {described};
    console.print(OTLogFormatter::format("waitingEvents:%@", waitingArgument));
    for (const auto& event : waiting) {
        const OTLogArgument eventArgument[] = {event};
        console.print(OTLogFormatter::format("event:%@", eventArgument));
        if (event->xwhat() == "$pageview") {
            triggerEventMatchInApp(event, 0);
            break;
        }
    }
    syncInAppData();
}

void OTSDKManager::acceptSubscribeList(std::vector<std::shared_ptr<const OTWindowData>> campaigns) {
    setSubscribeDataArray(std::move(campaigns));
    syncSubscribeData();
}

// ---- Push identity and mailed logs ----

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
                                                if (auto self = weak.lock()) self->uploadPushToken();
                                            });
    upload->setTaskId("uploadPushToken");
    OTTaskManager::manager()->addTask(upload);
}

void OTSDKManager::sendLogToEmail(const std::string& address, const std::shared_ptr<OTViewController>& controller) {
    std::vector<std::vector<std::uint8_t>> attachments;
    std::vector<std::string> names;
    for (const auto& path :
         OTLogger::logFilesOfDirectory(environment_.sandbox().documentsDirectory() / OTLogger::kFolderName)) {
        const auto bytes = OTFiles::readFile(path);
        if (!bytes) continue;
        attachments.emplace_back(bytes->begin(), bytes->end());
        names.push_back(path.filename().string());
    }
    const OTLogArgument version[] = {kSDKVersion};
    const auto subject = OTLogFormatter::format("CorvaneOstrel v%@ 用户行为日志", version);
    OTDispatchQueueManager::dispatchInMainThread(
        [address, subject, attachments = std::move(attachments), names = std::move(names), controller] {
            OTUtils::sendEmailTo(address, subject, attachments, names,
                                 controller ? controller : OTNavigation::currentViewController());
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
    if (type == 1) OTPushManager::sharedManager()->handlePush(1, msg);
}

}  // namespace corvane
