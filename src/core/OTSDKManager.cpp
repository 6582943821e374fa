#include "core/OTSDKManager.h"

#include "core/OTDispatchQueueManager.h"
#include "core/OTNavigation.h"
#include "core/OTPageCollection.h"
#include "core/OTPopWindowManager.h"
#include "core/OTPushManager.h"
#include "core/OTSwizzler.h"
#include "core/OTTaskManager.h"
#include "platform/OTUserConfig.h"
#include "platform/view/OTViewController.h"
#include "model/OTEvent.h"
#include "model/OTSAEventAdapter.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "platform/OTDataArchiver.h"
#include "platform/formats/OTDescription.h"
#include "platform/OTDownloadManager.h"
#include "platform/OTEnvironment.h"
#include "platform/formats/OTJSONValue.h"
#include "platform/formats/OTLogFormatter.h"
#include "platform/formats/OTJSONWriter.h"
#include "platform/OTLogger.h"
#include "platform/OTReachability.h"
#include "platform/OTReachabilityManager.h"
#include "platform/OTUtils.h"
#include "server/OTNetwork.h"

namespace {
// A user id as the analytics SDK hands it: a text, or a number's decimal text; nothing otherwise.
std::optional<std::string> userIdText(const nlohmann::json& value) {
    if (value.is_number()) return OTDescription::numberText(value);
    return OTJSONValue::text(value);
}
}  // namespace

OTSDKManager::OTSDKManager(OTEnvironment& environment)
    : environment_(environment), notifications_(environment.notificationCenterHandle()) {
    lastBackgroundUpdateTime_.set(environment.clock().now());
    restoreCampaignLists();
    restoreRecordTree();
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

std::string OTSDKManager::documentsPath(const std::string& fileName) const {
    return (environment_.sandbox().documentsDirectory() / fileName).string();
}

void OTSDKManager::registerNotifications() {
    // Registered during construction, before any owner exists to hold weakly; the destructor
    // removes it.
    environment_.notificationCenter().addObserver(
        this, OTReachability::kNetworkDidChangeNotification, [this](const OTNotificationCenter::Notification& notification) {
            networkStatusDidChange(notification.objectAs<OTReachability>());
        });
}

void OTSDKManager::onEventDataReceived(const nlohmann::json& event) {
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
    if (!profile.is_object()) return;
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
    const std::string stored = settings->userId().value_or("");
    setUserId(stored);
    // With nothing stored an empty id is no change; a missing id always is one.
    if (newUserId == stored) return;
    setUserId(newUserId);
    settings->setUserId(newUserId);

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
    auto uploadAlias = OTTask::taskWithCondition(condition, [weak = weak_from_this(), newUserId] {
        if (auto self = weak.lock()) self->alias(newUserId);
    });
    auto tasks = OTTaskManager::manager();
    tasks->addTask(uploadToken);
    tasks->addTask(uploadAlias);

    if (!isPullingData()) getListData(true);
    settings->clearDialog();
    if (auto tree = windowRecordTree()) tree->removeAllTreeNodes();
    syncRecordTree();
}

void OTSDKManager::handleCalibrationTime(const nlohmann::json& value) {
    if (value.is_null() || value.is_discarded()) return;
    const auto reading = OTJSONValue::doubleValue(value);
    if (!reading) return;
    setCalibrationTime(static_cast<double>(static_cast<float>(*reading)));
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

std::optional<std::string> pageUrl(const std::shared_ptr<OTEvent>& event) {
    if (!event || !event->xcontext().is_object()) return std::nullopt;
    const auto it = event->xcontext().find("$url");
    return it == event->xcontext().end() ? std::nullopt : OTJSONValue::text(*it);
}

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
        const auto [current, index] = *step;
        const auto list = inAppDataArray_.get();
        const auto& campaigns = *list;
        OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:event->%@,startIndex:%d,inAppDataArray:%d",
              current, index, campaigns.size());
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
                const auto goNext = [&] { triggerEventMatchInApp(current, currentMatchEventIndex() + 1); };
                if (!data) {
                    goNext();
                } else if (data->type() != 0) {
                    const auto& preEvents = data->preEvents();
                    if (preEvents.size() == 1) {
                        handleEvent(current, data);
                    } else if (preEvents.empty() || !current->matches(preEvents.front())) {
                        goNext();
                    } else {
                        // The event only advances sequences: every campaign waiting on it moves on.
                        for (const auto& other : campaigns) {
                            const auto& waiting = other ? other->preEvents() : std::vector<std::shared_ptr<OTEvent>>{};
                            if (waiting.size() >= 2 && current->matches(waiting.front())) {
                                other->setPreEvents({waiting.begin() + 1, waiting.end()});
                            }
                        }
                    }
                } else if (mainPage && !mainPage->empty()) {
                    OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp->firstPVWithMainPage:event");
                    firstPVWithMainPage(current, data);
                } else {
                    OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp->firstPVWithoutMainPage:event ");
                    firstPVWithoutMainPage(current, data);
                }
            }
        }
        step = walk.next;
    }
    walk.next.reset();
    walk.active = false;
}

void OTSDKManager::handleEvent(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<OTWindowData>& data) {
    OTLog(OTLogger::kLevelLog, "corvane->handleEvent:event->%@,windowData->%@", event, data);
    if (event->matches(data->event())) {
        OTLog(OTLogger::kLevelLog, "corvane->handleEvent-->maches");
        prepareForPopWindowWithData(data, event);
    } else {
        OTLog(OTLogger::kLevelLog, "corvane->handleEvent-->nomaches");
        triggerEventMatchInApp(event, currentMatchEventIndex() + 1);
    }
}

std::pair<std::string, bool> OTSDKManager::visiblePage(const std::shared_ptr<OTViewController>& controller) const {
    std::pair<std::string, bool> page;
    OTDispatchQueueManager::dispatchInMainThread(
        [&] {
            const auto current = OTNavigation::currentViewController();
            page.first = current ? current->className() : std::string();
            page.second = controller && OTNavigation::isControllerOnTopOfKeyWindow(controller, std::nullopt);
        },
        false);
    return page;
}

void OTSDKManager::firstPVWithoutMainPage(const std::shared_ptr<OTEvent>& event,
                                          const std::shared_ptr<OTWindowData>& data) {
    auto& console = environment_.console();
    const auto url = pageUrl(event);
    OTLog(OTLogger::kLevelLog, "corvane->firstPVWithoutMainPage->xwhat:%@,url:%@,pvCount:%ld,currentControllerName:%@",
          event->xwhat(), url, pvCount(), visiblePage(nullptr).first);
    if (event->xwhat() != "$pageview") {
        console.print("corvane->firstPVWithoutMainPage->else->triggerEventMatchInApp");
        triggerEventMatchInApp(event, currentMatchEventIndex() + 1);
        return;
    }
    const auto condition = data->event();
    const OTLogArgument urlArgument[] = {url};
    console.print(OTLogFormatter::format("corvane->firstPVWithoutMainPage:Property_PageUrl->%@", urlArgument));
    const OTLogArgument conditionArgument[] = {condition ? OTLogArgument(condition) : OTLogArgument(nullptr)};
    console.print(OTLogFormatter::format("corvane->firstPVWithoutMainPage:%@", conditionArgument));
    if (!condition || pageUrl(condition) == url) {
        prepareForPopWindowWithData(data, event);
        return;
    }
    console.print("corvane->firstPVWithoutMainPage->triggerEventMatchInApp");
    triggerEventMatchInApp(event, currentMatchEventIndex() + 1);
}

void OTSDKManager::firstPVWithMainPage(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<OTWindowData>& data) {
    OTLog(OTLogger::kLevelLog, "corvane->firstPVWithMainPage:%@,windowData:%@", event, data);
    const auto url = pageUrl(event);
    const auto configuration = this->configuration();
    const std::string mainPage = configuration ? configuration->mainPage().value_or("") : std::string();
    const auto [visibleName, onTop] = visiblePage(mainPageController());
    const auto goNext = [&] { triggerEventMatchInApp(event, currentMatchEventIndex() + 1); };
    if (event->xwhat() != "$pageview" || !url || url->empty() || *url != visibleName || *url != mainPage) {
        goNext();
        return;
    }
    OTLog(OTLogger::kLevelLog, "corvane-firstPVWithMainPage:url->%@,page->%d", url, mainPagePVCount());
    if (!onTop) {
        // Something covers the main page: keep its first view for when the cover goes away.
        if (mainPagePVCount() < 2) {
            setCachedFirstPVEventOfMainPage(event);
            setMainPagePVCount(0);
        } else {
            goNext();
        }
        return;
    }
    const auto condition = data->event();
    if (mainPagePVCount() < 2 && (!condition || pageUrl(condition) == url)) {
        prepareForPopWindowWithData(data, event);
    } else {
        goNext();
    }
}

bool OTSDKManager::dailyTest() const {
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(groupIdentifier());
    return static_cast<std::int64_t>(settings->dailyPopWindowCount()) <
           static_cast<std::int64_t>(settings->maxDailyPopWindowCount());
}

bool OTSDKManager::dateWindowTest(const OTWindowData& data) const {
    // Calendar days only: each instant is taken back to the start of its local day.
    const auto day = [](const std::optional<OTUtils::Date>& when) -> std::optional<OTUtils::Date> {
        if (!when) return std::nullopt;
        return OTUtils::dateFromString(OTUtils::stringFromDate(when, std::string("yyyy-MM-dd")), std::string("yyyy-MM-dd"));
    };
    const auto today = day(environment_.clock().now());
    if (OTUtils::compareOneDay(today, day(OTUtils::dateFromString(data.startTime()))) < 0) return false;
    if (OTUtils::compareOneDay(today, day(OTUtils::dateFromString(data.endTime()))) > 0) return false;
    return true;
}

bool OTSDKManager::readyToShowWithData(const std::shared_ptr<OTWindowData>& data) {
    const bool ready = data && matchData(data);
    if (ready) {
        if (auto tree = windowRecordTree()) syncWithTreeNode(tree->findWindowNodeById(data->windowIdIntegerValue()));
    }
    const OTLogArgument arguments[] = {ready};
    environment_.console().print(OTLogFormatter::format("readyToShowWithData:%d", arguments));
    return ready;
}

bool OTSDKManager::matchData(const std::shared_ptr<OTWindowData>& data) {
    const OTLogArgument arguments[] = {data};
    environment_.console().print(OTLogFormatter::format("matchData:%@", arguments));
    if (data->clickRule() && data->closeRule()) return matchNewRuleWithData(data);
    return matchOldRuleWithData(data);
}

bool OTSDKManager::matchOldRuleWithData(const std::shared_ptr<OTWindowData>& data) {
    auto& console = environment_.console();
    const OTLogArgument dataArgument[] = {data};
    console.print(OTLogFormatter::format("matchOldRuleWithData:%@", dataArgument));
    const auto tree = windowRecordTree();
    const auto node = tree ? tree->findWindowNodeById(data->windowIdIntegerValue()) : nullptr;
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(groupIdentifier());
    const OTLogArgument counts[] = {settings->dailyPopWindowCount(), settings->maxDailyPopWindowCount()};
    console.print(OTLogFormatter::format(
        "matchOldRuleWithData:dailyPopWindowCount->%ld,maxDailyPopWindowCount->%ld", counts));
    const std::int64_t used = node ? node->usedCount() : 0;
    const std::int64_t allowed = node ? node->count() : 0;
    const bool match = dailyTest() && used < allowed && dateWindowTest(*data) && !(node && node->activated());
    if (match) syncWithTreeNode(node);
    const OTLogArgument result[] = {match};
    console.print(OTLogFormatter::format("matchOldRuleWithData:match->%d", result));
    return match;
}

bool OTSDKManager::matchNewRuleWithData(const std::shared_ptr<OTWindowData>& data) {
    auto& console = environment_.console();
    auto print = [&](const char* format, std::initializer_list<OTLogArgument> arguments) {
        console.print(OTLogFormatter::format(format, std::span<const OTLogArgument>(arguments.begin(), arguments.size())));
    };
    print("matchNewRuleWithData->windowData:%@", {data});
    const auto tree = windowRecordTree();
    const auto node = tree ? tree->findWindowNodeById(data->windowIdIntegerValue()) : nullptr;
    print("matchNewRuleWithData:->OTWindowRecordTreeNode:%@", {node});
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(groupIdentifier());
    print("matchNewRuleWithData:%d,maxDailyPopWindowCount->%d",
          {settings->dailyPopWindowCount(), settings->maxDailyPopWindowCount()});
    const std::int64_t used = node ? node->usedCount() : 0;
    const auto lastEventType = node ? node->lastEventType() : std::nullopt;
    print("matchNewRuleWithData->usedCount:%d,lastEventType:%@", {used, lastEventType});

    if (used < 1 || !lastEventType || lastEventType->empty()) {
        print("matchNewRuleWithData->11111", {});
        const bool first = dailyTest() && dateWindowTest(*data);
        if (first) print("matchNewRuleWithData->22222", {});
        return first;
    }
    // The node's rules tell which reaction came last; the campaign's rule gives the limits.
    std::shared_ptr<OTWindowRule> rule;
    const auto nodeClick = node->clickRule();
    const auto nodeClose = node->closeRule();
    if (nodeClick && nodeClick->eventType() == lastEventType) rule = data->clickRule();
    else if (nodeClose && nodeClose->eventType() == lastEventType) rule = data->closeRule();
    if (!rule) return false;

    const auto pauseTest = [&] {
        const std::int64_t factor = rule->intervalType() == "day" ? 24 : 1;
        const double pause = static_cast<double>(factor * rule->intervalValue() * 3600);
        const auto last = node->lastPopTime().value_or(OTUtils::Date{});
        return std::chrono::duration<double>(environment_.clock().now() - last).count() > pause;
    };
    const auto numberTest = [&] {
        const std::int64_t counted = rule->eventType() == "click" ? node->clickCount() : node->closeCount();
        return counted < rule->count();
    };
    switch (rule->type()) {
        case 3: return dailyTest() && dateWindowTest(*data) && pauseTest();
        case 2: return dailyTest() && dateWindowTest(*data) && pauseTest() && numberTest();
        case 1: return dailyTest() && dateWindowTest(*data) && numberTest();
        default: return false;
    }
}

void OTSDKManager::syncWithTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node) {
    if (node) {
        node->setUsedCount(node->usedCount() + 1);
        node->setActivated(true);
    }
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(groupIdentifier());
    settings->setDailyPopWindowCount(settings->dailyPopWindowCount() + 1);
    syncRecordTree();
}

void OTSDKManager::prepareForPopWindowWithData(const std::shared_ptr<OTWindowData>& data,
                                               const std::shared_ptr<OTEvent>& event) {
    const bool autoPop = OTPopWindowManager::sharedManager()->autoPopWindow();
    OTLog(OTLogger::kLevelLog, "corvane-->prepareForPopWindowWithData");
    OTLog(OTLogger::kLevelLog, "corvane-->prepareForPopWindowWithData,autoPopWindow:%d", autoPop);
    if (!autoPop) return;
    data->replacePropertiesWithDic(event ? event->xcontext() : nlohmann::json());
    OTLog(OTLogger::kLevelLog, "corvane-->prepareForPopWindowWithData->needContinue");
    std::weak_ptr<OTSDKManager> weak = weak_from_this();
    auto goNext = [weak, event] {
        if (auto self = weak.lock()) self->triggerEventMatchInApp(event, self->currentMatchEventIndex() + 1);
    };
    _showWindowWithData(
        data,
        [weak, goNext](std::int64_t type, const std::optional<std::string>& link) {
            auto self = weak.lock();
            if (self && self->_handleWindowClickCallback(type, link)) goNext();
        },
        [goNext](bool shown) {
            if (!shown) goNext();
        });
}

void OTSDKManager::_showWindowWithData(const std::shared_ptr<OTWindowData>& data, EventAction eventAction,
                                       std::function<void(bool shown)> callback) {
    OTLog(OTLogger::kLevelLog, "corvane->_showWindowWithData,windowData:%@,eventAction:%@", data,
          eventAction ? "(block)" : nullptr);
    if (!readyToShowWithData(data)) {
        if (callback) callback(false);
        return;
    }
    OTLog(OTLogger::kLevelLog, "corvane->_showWindowWithData->yes");
    if (callback) callback(true);
    OTLog(OTLogger::kLevelLog, "corvane->_showWindowWithData,windowData:->yes->yes");
    const auto condition = data->event();
    const double delay = (condition ? static_cast<double>(condition->delay()) : 0.0) + 0.2;
    environment_.mainQueue()->after(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(delay)),
        [weak = weak_from_this(), data, eventAction] {
            auto presenter = OTPopWindowManager::sharedManager()->presenter();
            if (!presenter) {
                OTLog(OTLogger::kLevelError, "没有可用的弹窗展示器，弹窗未展示：%@", data->windowId());
                return;
            }
            presenter->popWithData(data, [weak, data, eventAction](std::int64_t type, const std::optional<std::string>& link) {
                auto self = weak.lock();
                if (!self) return;
                self->reactToDialogEvent(data, type, link);
                if (eventAction) eventAction(type, link);
            });
        });
}

void OTSDKManager::reactToDialogEvent(const std::shared_ptr<OTWindowData>& data, std::int64_t type,
                                      const std::optional<std::string>& link) {
    const auto tree = windowRecordTree();
    const auto node = tree ? tree->findWindowNodeById(data->windowIdIntegerValue()) : nullptr;
    OTLog(OTLogger::kLevelLog, "corvane->_showWindowWithData,eventType:%d", type);
    switch (type) {
        case 1:
            OTLog(OTLogger::kLevelLog, "showDialog->显示弹窗，弹窗类型：%@", OTWindowData::styleLabel(data->style()));
            syncTreeNode(node, type);
            reportWindowEventWithName("$impDialog", type, data);
            return;
        case 2: OTLog(OTLogger::kLevelLog, "clickkDialog-pic->点击了弹窗图片"); break;
        case 3: OTLog(OTLogger::kLevelLog, "clickDialog->点击了弹窗关闭按钮"); break;
        case 4: OTLog(OTLogger::kLevelLog, "点击了弹窗 left button"); break;
        case 5: OTLog(OTLogger::kLevelLog, "点击了弹窗 right button"); break;
        case 6: OTLog(OTLogger::kLevelLog, "点击了弹窗 middle button"); break;
        default: return;
    }
    syncTreeNode(node, type);
    handleNodeForbiddenState(data);
    if (type != 3) handlePushLink(link);
    reportWindowEventWithName(type == 3 ? "$closeDialog" : "$clickDialog", type, data);
}

bool OTSDKManager::_handleWindowClickCallback(std::int64_t type, const std::optional<std::string>& link) {
    switch (type) {
        case 2:
        case 4:
        case 5:
        case 6: return !OTUtils::isUniversalLink(link);
        case 3: return true;
        default: return false;
    }
}

void OTSDKManager::syncTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node, std::int64_t eventType) {
    if (node) {
        if (eventType == 1) {
            node->setLastPopTime(environment_.clock().now());
        } else if (eventType == 3) {
            node->setCloseCount(node->closeCount() + 1);
            const auto rule = node->closeRule();
            node->setLastEventType(rule ? rule->eventType() : std::nullopt);
        } else {
            node->setClickCount(node->clickCount() + 1);
            const auto rule = node->clickRule();
            node->setLastEventType(rule ? rule->eventType() : std::nullopt);
        }
    }
    syncRecordTree();
}

void OTSDKManager::handleNodeForbiddenState(const std::shared_ptr<OTWindowData>& data) {
    const auto tree = windowRecordTree();
    const auto id = data->windowIdIntegerValue();
    for (const auto& base : tree ? tree->allNodes() : std::vector<OTRecordTree::NodePtr>{}) {
        OTLog(OTLogger::kLevelLog, "corvane->handleNodeForbiddenState:node.nodeId->%d,windowData.windowId.integerValue->%d",
              base->nodeId(), id);
        if (base->nodeId() != id) continue;
        if (auto node = std::dynamic_pointer_cast<OTWindowRecordTreeNode>(base)) {
            const auto now = environment_.clock().now();
            switch (node->closeDialogType()) {
                case 0:
                    node->setForbidden(false);
                    node->setForbiddenStartTime(now + std::chrono::seconds(4294967295LL));
                    break;
                case 1:  // blocked for the rest of the day
                    node->setForbidden(true);
                    node->setForbiddenStartTime(now);
                    break;
                case 2:  // blocked for good
                    node->setForbidden(true);
                    node->setForbiddenStartTime(OTUtils::Date{});
                    break;
                default: break;
            }
        }
        break;
    }
    syncRecordTree();
}

void OTSDKManager::addWaitingEvent(const std::shared_ptr<OTEvent>& event) {
    if (!event) return;
    const auto waiting = waitingEvents();
    if (waiting.size() >= maxWaitingEventsCount()) return;
    for (const auto& held : waiting) {
        if (held == event || held->matches(event)) return;
    }
    waitingEvents_.modify([&](auto& list) { list.push_back(event); });
}

void OTSDKManager::clearTreeNodeActivateState() {
    if (treeNodesInit()) return;
    const auto tree = windowRecordTree();
    const auto now = environment_.clock().now();
    for (const auto& base : tree ? tree->allNodes() : std::vector<OTRecordTree::NodePtr>{}) {
        auto node = std::dynamic_pointer_cast<OTWindowRecordTreeNode>(base);
        if (!node) continue;
        const auto type = node->closeDialogType();
        // Type 1 forbids for the rest of its day; types 2 and others keep their state.
        const bool reset = type == 0 || (type == 1 && !OTUtils::isSameDay(node->forbiddenStartTime(), now));
        if (reset) {
            node->setForbidden(false);
            node->setForbiddenStartTime(now + std::chrono::seconds(4294967295LL));
        }
        if (!node->forbidden()) node->setActivated(false);
    }
    setTreeNodesInit(true);
}

namespace {
// Writes one of the engine's files and logs the outcome under the sync's name.
template <class Objects>
void syncFile(const Objects& objects, const std::string& path, const char* name) {
    if (OTDataArchiver::setData(objects, path)) {
        OTLog(OTLogger::kLevelData, "%@ 成功！", name);
    } else {
        OTLog(OTLogger::kLevelError, "%@ 失败！", name);
    }
}
}  // namespace

void OTSDKManager::syncInAppData() { syncFile(inAppDataArray(), documentsPath(kInAppFileName), "syncInAppData"); }

void OTSDKManager::syncSubscribeData() {
    syncFile(subscribeDataArray(), documentsPath(kSubscribeFileName), "syncSubscribeData");
}

void OTSDKManager::syncRecordTree() {
    const auto tree = windowRecordTree();
    syncFile(tree ? tree->allNodes() : std::vector<OTRecordTree::NodePtr>{}, documentsPath(kRecordTreeFileName),
             "syncRecordTree");
}

void OTSDKManager::restoreCampaignLists() {
    using List = std::vector<std::shared_ptr<OTWindowData>>;
    setInAppDataArray(OTDataArchiver::getObjectsForPath<OTWindowData>(documentsPath(kInAppFileName)).value_or(List{}));
    setSubscribeDataArray(
        OTDataArchiver::getObjectsForPath<OTWindowData>(documentsPath(kSubscribeFileName)).value_or(List{}));
}

void OTSDKManager::restoreRecordTree() {
    const auto stored = OTDataArchiver::getObjectsForPath<OTWindowRecordTreeNode>(documentsPath(kRecordTreeFileName));
    std::vector<OTRecordTree::NodePtr> nodes;
    if (stored) nodes.assign(stored->begin(), stored->end());
    setWindowRecordTree(OTWindowRecordTree::treeWithNodes(std::move(nodes)));
    clearTreeNodeActivateState();
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
                    if (auto engine = weak.lock()) engine->triggerEventMatchInApp(engine->cachedFirstPVEventOfMainPage(), 0);
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
    OTPushManager::sharedManager()->registerForRemoteNotificationWithDelegate(configuration.notificationCenterDelegate());
}

void OTSDKManager::handlePushLink(const std::optional<std::string>& link) { OTPushManager::sharedManager()->handlePush(link); }

void OTSDKManager::networkStatusDidChange(const std::shared_ptr<OTReachability>& reachability) {
    OTLog(OTLogger::kLevelLog, "网络状态发生变化，当前网络：%@",
          OTReachabilityManager::sharedManager()->telephonyNetworkDescrition());
    if (reachability && reachability->networkStatus() != OTReachability::kNotReachable) reportCachedOfflineEvents();
}

void OTSDKManager::startReachability() { OTReachabilityManager::sharedManager()->startReachability(); }

// Pictures are fetched when the campaigns arrive, so that their dialogs can show at once.
void OTSDKManager::prefetchImage(const std::string& url) {
    OTDownloadManager::sharedManager()->downloadImageWithURL(url, nullptr);
}

// The steps below are completed by the engine layers that own them: banners and identity uploads.
void OTSDKManager::uploadPushToken() {}
void OTSDKManager::alias(const std::optional<std::string>&) {}
void OTSDKManager::matchBanners(const std::shared_ptr<OTEvent>&) {}
void OTSDKManager::loadBanners() {}

// ---- Server link ----

void OTSDKManager::installDefaultServerEnvironments() { OTNetwork::configEnvironment(OTNetworkConfig{}); }

void OTSDKManager::configureCustomServer(const std::string& url) {
    OTNetwork::configEnvironment(OTNetworkConfig::withBaseURL(url));
}

void OTSDKManager::loginThenDownload() {
    loginWithCompletion([weak = weak_from_this()] {
        if (auto self = weak.lock()) self->getListData(false);
    });
}

namespace {
std::string statusText(long status) {
    switch (status) {
        case 400: return "bad request";
        case 401: return "unauthorized";
        case 403: return "forbidden";
        case 404: return "not found";
        case 500: return "internal server error";
        case 502: return "bad gateway";
        case 503: return "service unavailable";
        default: return "HTTP " + std::to_string(status);
    }
}

// Only status 200 carries an answer; any other is logged and ends the handling.
bool acceptedStatus(long status) {
    if (status == 200) return true;
    OTLog(OTLogger::kLevelError, "statusCode:%@\ndescripton:%@\n", status, statusText(status));
    return false;
}

// An answer's JSON (a top-level fragment allowed); discarded when it does not parse.
nlohmann::json parseAnswer(const std::string& data) { return nlohmann::json::parse(data, nullptr, false); }

// The answer's "code", or `missing` when it has none.
std::int64_t answerCode(const nlohmann::json& answer, std::int64_t missing) {
    if (!answer.is_object() || !answer.contains("code")) return missing;
    return OTJSONValue::integerValue(answer["code"]).value_or(missing);
}

std::optional<nlohmann::json> answerMessage(const nlohmann::json& answer) {
    if (!answer.is_object() || !answer.contains("message")) return std::nullopt;
    return answer["message"];
}
}  // namespace

nlohmann::json OTSDKManager::osObject(bool withDevice, bool withPackage) const {
    nlohmann::json os = {{"brand", "iphone"}, {"channel", "default"}, {"platform", "ios"}, {"version", OTUtils::getOSVersion()}};
    if (withDevice) os["mac"] = OTUtils::getUUID();
    if (withPackage) os["packageName"] = OTUtils::getAppBundleId();
    return os;
}

std::uint32_t OTSDKManager::getRandomRetryDurationWithRetryCount(std::uint64_t count, double ratio) {
    const std::uint32_t r = environment_.random().next();
    switch (count) {
        case 1: {
            const std::uint32_t base =
                (ratio > 1.0 || !(ratio > 0.0)) ? 60u : static_cast<std::uint32_t>(ratio * 60.0);
            // A ratio below 1/60 leaves the random value as it is.
            return base == 0 ? r : r % base;
        }
        case 2: return r % 120;
        case 3: return r % 180;
        default: return 0;
    }
}

void OTSDKManager::scheduleRetry(std::uint32_t seconds, std::function<void()> retry) {
    environment_.mainQueue()->after(std::chrono::seconds(seconds), std::move(retry));
}

nlohmann::json OTSDKManager::listRequestBody() const {
    const auto user = userId();
    return {{"newUser", user ? 1 : 0},
            {"os", osObject(false, false)},
            {"sdkVersion", kSDKVersion},
            {"token", token().value_or("")},
            {"userId", user.value_or("")}};
}

void OTSDKManager::retryAfterTransportFailure(std::atomic<std::uint64_t>& counter, long code,
                                              const std::string& description, std::function<void()> retry) {
    OTLog(OTLogger::kLevelError, "code:%@\ndescripton:%@\n", code, description);
    const auto attempt = ++counter;
    if (attempt > maxRetryCount()) return;
    scheduleRetry(getRandomRetryDurationWithRetryCount(attempt, 1.0), std::move(retry));
}

void OTSDKManager::loginWithCompletion(std::function<void()> completion) {
    const auto configuration = this->configuration();
    const nlohmann::json body = {{"os", osObject(true, true)},
                                 {"sdkVersion", kSDKVersion},
                                 {"appKey", configuration ? configuration->appKey().value_or("") : ""},
                                 {"userId", userId().value_or("")}};
    std::weak_ptr<OTSDKManager> weak = weak_from_this();
    OTNetwork::networkWithGroupIdentifier(groupIdentifier().value_or(""))
        ->postRequestWithRelativeURLStr(
            "/push/sdk/login", nullptr, body,
            [weak, completion](const OTNetwork::Response& response, const std::string& data) {
                auto self = weak.lock();
                if (!self) return;
                if (!acceptedStatus(response.statusCode)) return;
                const auto answer = parseAnswer(data);
                OTLog(OTLogger::kLevelData, "login data:\n%@", answer.is_discarded() ? nlohmann::json(data) : answer);
                if (!answer.is_object()) return;
                if (const auto code = answerCode(answer, 0); code != 0) {
                    OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", code, answerMessage(answer));
                    return;
                }
                const auto token = OTJSONValue::textAt(answer, "token");
                self->setToken(token);
                auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(self->groupIdentifier());
                settings->setToken(token);
                const auto rule = answer.value("rule", nlohmann::json::object());
                const auto activity = OTJSONValue::textAt(rule, "activityUpdateTime").value_or("1970-01-01 00:00:00");
                if (auto when = OTUtils::dateFromString(activity)) self->setLastBackgroundUpdateTime(*when);
                OTUserConfig::configWithDictionary(rule);
                if (completion) completion();
            },
            [weak, completion](const OTNetwork::Error& error) {
                if (auto self = weak.lock()) {
                    self->retryAfterTransportFailure(self->loginRetryCount_, error.code, error.localizedDescription,
                                                     [weak, completion] {
                                                         if (auto engine = weak.lock()) engine->loginWithCompletion(completion);
                                                     });
                }
            });
}

void OTSDKManager::getListData(bool force) {
    environment_.console().print("getListData");
    const auto token = this->token();
    const auto user = userId();
    if (!token || token->empty() || !user || user->empty()) return;
    const auto configuration = this->configuration();
    OTLog(OTLogger::kLevelLog, "CorvaneOstrel 启动成功！\nCorvaneOstrel 版本号：%@\nAppKey：%@\nuserId：%@", kSDKVersion,
          configuration ? configuration->appKey() : std::nullopt, user);
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(groupIdentifier());
    if (settings->dataPulledToday() && !force &&
        OTUtils::compareOneDay(settings->lastBackgroundUpdateTime(), lastBackgroundUpdateTime()) == 0) {
        return;
    }
    getInAppList();
    getSubscribeList();
    if (!configuration || !configuration->bannerClosed()) loadBanners();
}

void OTSDKManager::downloadList(const char* path, const char* dataFormat, std::atomic<std::uint64_t> OTSDKManager::*retries,
                                void (OTSDKManager::*again)(), ListAnswer handle) {
    std::weak_ptr<OTSDKManager> weak = weak_from_this();
    OTNetwork::networkWithGroupIdentifier(groupIdentifier().value_or(""))
        ->postRequestWithRelativeURLStr(
            path, nullptr, listRequestBody(),
            [weak, dataFormat, handle = std::move(handle)](const OTNetwork::Response& response, const std::string& data) {
                auto self = weak.lock();
                if (!self) return;
                self->setIsPullingData(false);
                if (!acceptedStatus(response.statusCode)) return;
                const auto answer = parseAnswer(data);
                const auto code = answerCode(answer, -1);
                if (code != 0) OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", code, answerMessage(answer));
                handle(*self, code, answer);
                OTLog(OTLogger::kLevelData, dataFormat, answer.is_discarded() ? nlohmann::json(data) : answer);
            },
            [weak, retries, again](const OTNetwork::Error& error) {
                auto self = weak.lock();
                if (!self) return;
                self->setIsPullingData(false);
                self->retryAfterTransportFailure((*self).*retries, error.code, error.localizedDescription, [weak, again] {
                    if (auto engine = weak.lock()) ((*engine).*again)();
                });
            });
}

void OTSDKManager::loginAgainWithin(std::atomic<std::uint64_t>& retries, std::function<void()> retry) {
    if (++retries > maxRetryCount()) return;
    loginWithCompletion(std::move(retry));
}

void OTSDKManager::getInAppList() {
    downloadList("/push/sdk/in_app", "in_app data:\n%@", &OTSDKManager::inAppRetryCount_, &OTSDKManager::getInAppList,
                 [](OTSDKManager& engine, std::int64_t code, const nlohmann::json& answer) {
                     if (code == 0) return engine.acceptInAppList(answer);
                     if (code != 10001) return;
                     OTLog(OTLogger::kLevelError, "token 失效，重新 login");
                     engine.loginAgainWithin(engine.inAppRetryCount_, [weak = engine.weak_from_this()] {
                         if (auto again = weak.lock()) again->getInAppList();
                     });
                 });
}

void OTSDKManager::acceptInAppList(const nlohmann::json& answer) {
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(groupIdentifier());
    settings->setLastBackgroundUpdateTime(lastBackgroundUpdateTime());
    settings->setLastIPhoneUpdateTime(environment_.clock().now());
    std::vector<std::shared_ptr<OTWindowData>> campaigns;
    const auto list = answer.value("data", nlohmann::json());
    auto fresh = OTWindowRecordTree::defaultTree();
    if (list.is_array() && !list.empty()) {
        fresh->removeAllTreeNodes();
        for (const auto& element : list) {
            auto campaign = std::make_shared<OTWindowData>();
            campaign->setModelWithDic(element);
            campaigns.push_back(campaign);
            auto node = std::make_shared<OTWindowRecordTreeNode>();
            node->setNodeId(campaign->windowIdIntegerValue());
            node->setCount(campaign->count());
            node->setStartTime(campaign->startTime());
            node->setEndTime(campaign->endTime());
            node->setCloseDialogType(campaign->closeDialogType());
            node->setClickRule(campaign->clickRule());
            node->setCloseRule(campaign->closeRule());
            fresh->addTreeNode(node);
            if ((campaign->style() == 1 || campaign->style() == 2) && campaign->picture() &&
                !campaign->picture()->empty()) {
                prefetchImage(*campaign->picture());
            }
        }
    }
    setInAppDataArray(campaigns);
    if (auto tree = windowRecordTree()) tree->updateWithTree(*fresh);
    clearTreeNodeActivateState();
    syncRecordTree();
    if (!campaigns.empty()) reportWindowEventWithName("$pullDialog", 0, campaigns.front());

    // Only the opening page view is worth a late dialog: the first waiting one is replayed.
    auto& console = environment_.console();
    const auto waiting = waitingEvents();
    nlohmann::json described = nlohmann::json::array();
    for (const auto& event : waiting) described.push_back(event->description());
    const OTLogArgument waitingArgument[] = {described};
    console.print(OTLogFormatter::format("waitingEvents:%@", waitingArgument));
    setWaitingEvents({});
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

void OTSDKManager::getSubscribeList() {
    downloadList("/push/sdk/event/subscribe", "subscribe data:\n%@", &OTSDKManager::subscribeRetryCount_,
                 &OTSDKManager::getSubscribeList, [](OTSDKManager& engine, std::int64_t code, const nlohmann::json& answer) {
                     if (code != 0) {
                         // Every refusal reads as an expired token here; only 10001 logs in again.
                         OTLog(OTLogger::kLevelError, "token 失效，重新 login");
                         if (code != 10001) return;
                         engine.loginAgainWithin(engine.subscribeRetryCount_, [weak = engine.weak_from_this()] {
                             if (auto again = weak.lock()) again->getSubscribeList();
                         });
                         return;
                     }
                     const auto list = answer.value("data", nlohmann::json());
                     if (!list.is_array() || list.empty()) return;
                     std::vector<std::shared_ptr<OTWindowData>> campaigns;
                     for (const auto& element : list) {
                         auto campaign = std::make_shared<OTWindowData>();
                         campaign->setModelWithDic(element);
                         campaigns.push_back(campaign);
                     }
                     engine.setSubscribeDataArray(campaigns);
                     engine.syncSubscribeData();
                 });
}

void OTSDKManager::triggerEvent(const std::shared_ptr<OTEvent>& event) {
    if (!event) return;
    const nlohmann::json body = {{"os", osObject(false, true)},
                                 {"sdkVersion", kSDKVersion},
                                 {"token", token().value_or("")},
                                 {"userId", userId().value_or("")},
                                 {"events", nlohmann::json::array({event->toDictionary()})}};
    std::weak_ptr<OTSDKManager> weak = weak_from_this();
    OTNetwork::networkWithGroupIdentifier(groupIdentifier().value_or(""))
        ->postRequestWithRelativeURLStr(
            "/push/sdk/event/trigger", nullptr, body,
            [weak, event](const OTNetwork::Response& response, const std::string& data) {
                auto self = weak.lock();
                if (!self) return;
                if (!acceptedStatus(response.statusCode)) return;
                const auto answer = parseAnswer(data);
                const auto code = answerCode(answer, -1);
                if (code == 0) {
                    OTLog(OTLogger::kLevelLog, "触发事件成功!事件名：%@", event->xwhat());
                } else {
                    OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", code, answerMessage(answer));
                    if (code == 10001) {
                        OTLog(OTLogger::kLevelError, "token 失效，重新 login");
                        self->loginAgainWithin(self->triggerRetryCount_, [weak, event] {
                            if (auto engine = weak.lock()) engine->triggerEvent(event);
                        });
                    }
                }
                OTLog(OTLogger::kLevelLog, "触发事件 data:\n%@", answer.is_discarded() ? nlohmann::json(data) : answer);
            },
            [](const OTNetwork::Error& error) {
                OTLog(OTLogger::kLevelError, "code:%@\ndescripton:%@\n", error.code, error.localizedDescription);
            });
}

// ---- Usage reports and offline queues ----

double OTSDKManager::reportTime() const {
    const double seconds =
        std::chrono::duration<double>(environment_.clock().now().time_since_epoch()).count() + calibrationTime();
    // Whole milliseconds, rounded as "%.f" rounds (to nearest, ties to even).
    return std::nearbyint(seconds * 1000.0);
}

void OTSDKManager::reportWindowEventWithName(const std::string& name, std::int64_t type,
                                             const std::shared_ptr<OTWindowData>& data) {
    auto event = std::make_shared<OTEvent>();
    event->setAppid(appid().value_or(""));
    event->setXwho(userId().value_or(""));
    event->setXwhen(reportTime());
    event->setXwhat(name);
    nlohmann::json context = nlohmann::json::object();
    if (const auto trigger = currentTriggerEvent(); trigger && trigger->xcontext().is_object()) context = trigger->xcontext();
    context["$lib_version"] = kSDKVersion;
    context["activityId"] = data ? data->windowId().value_or("") : "";
    if (type != 0) {
        context["$dialog_type"] = type;
        const std::shared_ptr<OTButtonAttribute> button = !data       ? nullptr
                                                         : type == 4 ? data->leftBtnAttribute()
                                                         : type == 5 ? data->rightBtnAttribute()
                                                         : type == 6 ? data->middleBtnAttribute()
                                                                     : nullptr;
        // A button without text leaves the key out, as a nil value would.
        if (button && button->text()) context["dialog_button_text"] = *button->text();
    }
    event->setXcontext(std::move(context));
    _reportEvent(event);
}

void OTSDKManager::reportPushEventWithType(std::int64_t type, const nlohmann::json& msg,
                                           const std::optional<std::string>& groupIdentifier) {
    OTLog(OTLogger::kLevelLog, "corvane->reportPushEventWithType:type->%d,msg->%@", type, msg);
    if (!msg.is_object()) return;
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(groupIdentifier);
    auto event = std::make_shared<OTEvent>();
    // Push events never carry the app id.
    event->setAppid("");
    event->setXwho(settings->userId().value_or(""));
    event->setXwhen(reportTime());
    nlohmann::json context = nlohmann::json::object();
    if (const auto trigger = currentTriggerEvent(); trigger && trigger->xcontext().is_object()) context = trigger->xcontext();
    context["$push_channel"] = OTJSONValue::textAt(msg, "$push_channel").value_or("");
    context["activityId"] = OTJSONValue::textAt(msg, "activityId").value_or("");
    context["$lib_version"] = kSDKVersion;
    event->setXcontext(std::move(context));
    switch (type) {
        case 0: event->setXwhat("$ot_push_delivery"); break;
        case 1: event->setXwhat("$ot_push_click"); break;
        default: return;
    }
    _reportEvent(event, groupIdentifier);
}

void OTSDKManager::pushTrack(std::int64_t type, const nlohmann::json& msg, const std::optional<std::string>& groupIdentifier) {
    reportPushEventWithType(type, msg, groupIdentifier);
    if (type == 1) OTPushManager::sharedManager()->handlePush(1, msg);
}

void OTSDKManager::_reportEvent(const std::shared_ptr<OTEvent>& event) { sendReport(event, true, std::nullopt); }

void OTSDKManager::_reportEvent(const std::shared_ptr<OTEvent>& event, const std::optional<std::string>& groupIdentifier) {
    sendReport(event, false, groupIdentifier);
}

void OTSDKManager::sendReport(const std::shared_ptr<OTEvent>& event, bool isWindowEvent,
                              const std::optional<std::string>& groupIdentifier) {
    if (!event) return;
    std::optional<std::string> token, user;
    if (isWindowEvent) {
        token = this->token();
        user = userId();
    } else {
        auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(groupIdentifier);
        token = settings->token();
        user = settings->userId();
    }
    const auto dictionary = event->toDictionary();
    const nlohmann::json body = {{"os", osObject(false, true)},
                                 {"sdkVersion", kSDKVersion},
                                 {"token", token.value_or("")},
                                 {"userId", user.value_or("")},
                                 {"events", nlohmann::json::array({dictionary})}};
    OTLog(OTLogger::kLevelData, isWindowEvent ? "上报（弹窗）事件:\n%@" : "上报（push）事件:\n%@",
          OTJSONWriter::prettyString(dictionary).value_or(""));
    const auto network = isWindowEvent ? OTNetwork::networkWithGroupIdentifier(this->groupIdentifier().value_or(""))
                                       : OTNetwork::networkWithGroupIdentifier(groupIdentifier.value_or(""));
    std::weak_ptr<OTSDKManager> weak = weak_from_this();
    network->postRequestWithRelativeURLStr(
        kReportPath, nullptr, body,
        [weak, event, dictionary, isWindowEvent, groupIdentifier](const OTNetwork::Response& response,
                                                                  const std::string& data) {
            if (response.statusCode != 200) {
                OTLog(OTLogger::kLevelError, "上报事件失败！\n事件：%@\nstatusCode:%@\ndescripton:%@\n", dictionary,
                      response.statusCode, statusText(response.statusCode));
                return;
            }
            const auto answer = parseAnswer(data);
            OTLog(OTLogger::kLevelLog, "上报事件 data:\n%@", answer.is_discarded() ? nlohmann::json(data) : answer);
            const auto code = answerCode(answer, -1);
            if (code == 0) {
                OTLog(OTLogger::kLevelLog, "上报事件成功, event:\n%@", dictionary);
                return;
            }
            OTLog(OTLogger::kLevelError, "上报事件失败！\n事件：%@\ncode:%@\nmessage:%@\n", dictionary, code,
                  answerMessage(answer));
            if (code != 10001) return;
            OTLog(OTLogger::kLevelError, "token 失效，重新 login");
            auto self = weak.lock();
            if (!self) return;
            self->loginAgainWithin(self->reportEventRetryCount_, [weak, event, isWindowEvent, groupIdentifier] {
                if (auto engine = weak.lock()) engine->sendReport(event, isWindowEvent, groupIdentifier);
            });
        },
        [weak, event, dictionary, isWindowEvent](const OTNetwork::Error& error) {
            OTLog(OTLogger::kLevelError, "上报事件失败！\n事件：%@\ncode:%@\ndescripton:%@\n", dictionary, error.code,
                  error.localizedDescription);
            if (auto self = weak.lock()) self->syncCachedEvent(event, isWindowEvent);
        });
}

bool OTSDKManager::writeCachedEvents(const std::vector<std::shared_ptr<OTEvent>>& events, bool isWindowEvents) const {
    return OTDataArchiver::setData(events,
                                   documentsPath(isWindowEvents ? kOfflineWindowEventsFileName : kOfflinePushEventsFileName));
}

void OTSDKManager::syncCachedEvent(const std::shared_ptr<OTEvent>& event, bool isWindowEvent) {
    if (!event) return;
    auto& queue = isWindowEvent ? cachedOfflineWindowEvents_ : cachedOfflinePushEvents_;
    const bool written = queue.modify([&](auto& events) {
        events.push_back(event);
        return writeCachedEvents(events, isWindowEvent);
    });
    if (written) {
        OTLog(OTLogger::kLevelData, "syncCachedEvents 成功！isWindowEvent : %@", isWindowEvent ? 1 : 0);
    } else {
        OTLog(OTLogger::kLevelError, "syncCachedEvents 失败！isWindowEvent ：@(%@)", isWindowEvent ? 1 : 0);
    }
}

void OTSDKManager::syncCachedEvents(const std::vector<std::shared_ptr<OTEvent>>& events, bool isWindowEvents) {
    if (writeCachedEvents(events, isWindowEvents)) {
        OTLog(OTLogger::kLevelData, "syncCachedEvents 成功！isWindowEvent : %@", isWindowEvents ? 1 : 0);
    } else {
        OTLog(OTLogger::kLevelError, "syncCachedEvents 失败！isWindowEvent ：@(%@)", isWindowEvents ? 1 : 0);
    }
}

void OTSDKManager::reportCachedOfflineEvents() {
    reportCachedOfflineWindowEvents();
    reportCachedOfflinePushEvents();
}

void OTSDKManager::reportCachedOfflineWindowEvents() {
    flushCachedEvents(true, [this](const auto& event) { _reportEvent(event); });
}

void OTSDKManager::reportCachedOfflinePushEvents() {
    const auto configuration = this->configuration();
    const auto group = configuration ? configuration->applicationGroupIdentifier() : std::nullopt;
    flushCachedEvents(false, [this, group](const auto& event) { _reportEvent(event, group); });
}

void OTSDKManager::flushCachedEvents(bool isWindowEvents,
                                     const std::function<void(const std::shared_ptr<OTEvent>&)>& send) {
    auto& queue = isWindowEvents ? cachedOfflineWindowEvents_ : cachedOfflinePushEvents_;
    auto loaded = OTDataArchiver::getObjectsForPath<OTEvent>(
        documentsPath(isWindowEvents ? kOfflineWindowEventsFileName : kOfflinePushEventsFileName));
    queue.set(loaded.value_or(std::vector<std::shared_ptr<OTEvent>>{}));
    if (!loaded || loaded->empty()) return;
    // The count is read again at every step: a failure meanwhile appends to the same list.
    for (std::size_t index = 0;; ++index) {
        const auto event =
            queue.modify([&](auto& events) { return index < events.size() ? events[index] : nullptr; });
        if (!event) break;
        send(event);
    }
    // The list in memory is kept: a later failure writes it whole, re-sent events included.
    syncCachedEvents({}, isWindowEvents);
}
