#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "core/OTBannerHandler.h"
#include "core/OTCampaignStore.h"
#include "core/OTDialogFlow.h"
#include "core/OTDisplayEligibility.h"
#include "core/OTFirstPageViewRules.h"
#include "corvane/CorvaneOtConfig.h"
#include "corvane/CorvaneOtObserver.h"
#include "foundation/OTLocked.h"
#include "platform/OTClock.h"
#include "platform/OTEnvironment.h"
#include "server/OTCampaignDownloader.h"
#include "server/OTEventReporter.h"
#include "server/OTIdentityUploader.h"
#include "server/OTLoginClient.h"
#include "server/OTServerSession.h"

namespace corvane {

class OTNotificationCenter;
class OTEvent;
class OTPageCollection;
class OTReachability;
class OTViewController;
class OTWindowData;
class OTWindowRecordTree;
class OTWindowRecordTreeNode;

// The engine: owns the configuration, the dialog campaign lists, the dialog record tree, the
// waiting events, the retry and page-view counters, for the life of the process (of the installed
// environment). Fields touched from more than one queue are guarded per access. The server link
// (login, downloads, reports) and display eligibility are classes of their own that the engine
// owns; its operations of the same names forward to them.
class OTSDKManager final : public CorvaneOtObserver, public std::enable_shared_from_this<OTSDKManager> {
public:
    static constexpr const char* kSDKVersion = OTServerSession::kSDKVersion;
    static constexpr const char* kInAppFileName = OTCampaignStore::kInAppFileName;
    static constexpr const char* kSubscribeFileName = OTCampaignStore::kSubscribeFileName;
    static constexpr const char* kRecordTreeFileName = OTCampaignStore::kRecordTreeFileName;
    static constexpr const char* kOfflineWindowEventsFileName = OTEventReporter::kOfflineWindowEventsFileName;
    static constexpr const char* kOfflinePushEventsFileName = OTEventReporter::kOfflinePushEventsFileName;
    static constexpr const char* kReportPath = OTEventReporter::kReportPath;
    static constexpr const char* kEventQueueLabel = "com.OT.eventData";

    explicit OTSDKManager(OTEnvironment& environment);
    ~OTSDKManager() override;

    static std::shared_ptr<OTSDKManager> sharedManager();
    // The shared engine; a non-empty `groupIdentifier` is stored first.
    std::shared_ptr<OTSDKManager> managerWithGroupIdentifier(const std::optional<std::string>& groupIdentifier);
    void startWithConfiguration(const std::shared_ptr<CorvaneOtConfig>& configuration);
    static std::string SDKVersion() { return kSDKVersion; }
    OTEnvironment& environment() const { return environment_; }
    bool autoCollectPage() const { return autoCollectPageInfo(); }

    // Observer of the host's analytics SDK.
    void onEventDataReceived(const nlohmann::json& event) override;
    void onUserProfile(const nlohmann::json& profile) override;
    void onUserProfile(const std::string& key, const nlohmann::json& value) override;

    void registerNotifications();
    // Page tracking: every page shown is reported to autoPageCollected.
    void startPageCollection();
    // Watches views leaving the window: when the cover over the main page goes, its first view is
    // matched again.
    void startWindowObservation();
    // An alternative hook on the host SDK's upload method; start-up does not use it.
    void exchangeMethod();
    void networkStatusDidChange(const std::shared_ptr<OTReachability>& reachability);

    // Event intake, on the event queue.
    void _handleCorvaneEvent(const nlohmann::json& event);
    void _handleSAEvent(const nlohmann::json& event);
    // Page-view statistics taken before each match; the source type is not consulted.
    void handleUserProfileUpload(const nlohmann::json& event, std::int64_t sourceType);
    // A change of user: identity uploads queued, campaigns downloaded again, usage records reset.
    void handleXwho(const std::optional<std::string>& userId);
    // Kept at single precision, as the offset has always been read.
    void handleCalibrationTime(const nlohmann::json& value);
    // Every page the host shows: the configured main page is kept once seen.
    void autoPageCollected(const std::shared_ptr<OTViewController>& controller);

    // Matching of one event against the campaigns: subscribe campaigns (the server decides), then,
    // unless a dialog is on screen, in-app campaigns in list order and banners.
    void triggerEventMatchWithData(const nlohmann::json& data);
    void triggerEventMatchSubscribe(const std::shared_ptr<OTEvent>& event);
    // One step of the in-app walk from `startIndex`. Steps that go on to the next campaign run in a
    // loop of the walk already under way on this thread, so long lists never deepen the stack.
    // Each step carries its event and its position (`index`) to wherever it goes on, on any queue:
    // currentMatchEventIndex only reports the last position examined, it never steers.
    void triggerEventMatchInApp(const std::shared_ptr<OTEvent>& event, std::uint64_t startIndex);
    void handleEvent(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<const OTWindowData>& data,
                     std::uint64_t index);
    void firstPVWithoutMainPage(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<const OTWindowData>& data,
                                std::uint64_t index);
    void firstPVWithMainPage(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<const OTWindowData>& data,
                             std::uint64_t index);
    void triggerEventMatchBanner(const std::shared_ptr<OTEvent>& event);

    // Display eligibility: the daily cap, the date window and the campaign's usage record.
    bool readyToShowWithData(const std::shared_ptr<const OTWindowData>& data) {
        return eligibility_->readyToShowWithData(data);
    }
    bool matchData(const std::shared_ptr<const OTWindowData>& data) { return eligibility_->matchData(data); }
    // Campaigns without both usage rules: counts an eligible showing itself (so twice in all).
    bool matchOldRuleWithData(const std::shared_ptr<const OTWindowData>& data) {
        return eligibility_->matchOldRuleWithData(data);
    }
    bool matchNewRuleWithData(const std::shared_ptr<const OTWindowData>& data) {
        return eligibility_->matchNewRuleWithData(data);
    }
    void syncWithTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node) { eligibility_->syncWithTreeNode(node); }

    // The dialog flow: a matched campaign is shown after its delay and each reaction is recorded,
    // reported, followed and may let matching go on.
    using EventAction = OTDialogFlow::EventAction;
    void prepareForPopWindowWithData(const std::shared_ptr<const OTWindowData>& data,
                                     const std::shared_ptr<OTEvent>& event, std::uint64_t index) {
        dialogs_->prepareForPopWindowWithData(data, event, index);
    }
    void _showWindowWithData(const std::shared_ptr<const OTWindowData>& data, const EventAction& eventAction,
                             const std::function<void(bool shown)>& callback) {
        dialogs_->_showWindowWithData(data, eventAction, callback);
    }
    // Whether matching goes on after a reaction.
    static bool _handleWindowClickCallback(std::int64_t type, const std::optional<std::string>& link) {
        return OTDialogFlow::_handleWindowClickCallback(type, link);
    }
    void syncTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node, std::int64_t eventType) {
        dialogs_->syncTreeNode(node, eventType);
    }
    OTDialogFlow& dialogFlow() const { return *dialogs_; }
    void handleNodeForbiddenState(const std::shared_ptr<const OTWindowData>& data) {
        campaigns_->handleNodeForbiddenState(*data, environment_.clock().now());
    }
    // Holds an event that came before the campaigns: at most `maxWaitingEventsCount`, none twice,
    // none that a waiting event already matches.
    void addWaitingEvent(const std::shared_ptr<OTEvent>& event);

    // No dialog counts as armed after a restart or a download; forbidden states expire.
    void clearTreeNodeActivateState() { campaigns_->clearTreeNodeActivateState(environment_.clock().now()); }
    void syncInAppData() { campaigns_->syncInAppData(); }
    void syncSubscribeData() { campaigns_->syncSubscribeData(); }
    void syncRecordTree() { campaigns_->syncRecordTree(); }

    // Fields.
    std::int64_t currentMatchEventIndex() const { return currentMatchEventIndex_.load(); }
    void setCurrentMatchEventIndex(std::int64_t value) { currentMatchEventIndex_.store(value); }
    bool treeNodesInit() const { return campaigns_->treeNodesInit(); }
    void setTreeNodesInit(bool value) { campaigns_->setTreeNodesInit(value); }
    bool autoCollectPageInfo() const { return autoCollectPageInfo_.load(); }
    void setAutoCollectPageInfo(bool value) { autoCollectPageInfo_.store(value); }
    bool isPullingData() const { return downloader_->isPullingData(); }
    void setIsPullingData(bool value) { downloader_->setIsPullingData(value); }
    std::shared_ptr<CorvaneOtConfig> configuration() const { return session_->configuration(); }
    void setConfiguration(std::shared_ptr<CorvaneOtConfig> value) { session_->setConfiguration(std::move(value)); }
    std::optional<std::string> groupIdentifier() const { return session_->groupIdentifier(); }
    void setGroupIdentifier(std::optional<std::string> value) { session_->setGroupIdentifier(std::move(value)); }
    std::optional<std::string> deviceToken() const { return identity_->deviceToken(); }
    void setDeviceToken(std::optional<std::string> value) { identity_->setDeviceToken(std::move(value)); }
    std::optional<std::string> deviceId() const { return identity_->deviceId(); }
    void setDeviceId(std::optional<std::string> value) { identity_->setDeviceId(std::move(value)); }
    std::optional<std::string> token() const { return session_->token(); }
    void setToken(std::optional<std::string> value) { session_->setToken(std::move(value)); }
    std::optional<std::string> userId() const { return session_->userId(); }
    void setUserId(std::optional<std::string> value) { session_->setUserId(std::move(value)); }
    std::optional<std::string> appid() const { return session_->appid(); }
    void setAppid(std::optional<std::string> value) { session_->setAppid(std::move(value)); }
    std::shared_ptr<OTPageCollection> pageCollection() const { return pageCollection_.get(); }
    void setPageCollection(std::shared_ptr<OTPageCollection> value) { pageCollection_.set(std::move(value)); }
    std::vector<std::shared_ptr<OTEvent>> cachedOfflineWindowEvents() const {
        return reporter_->cachedOfflineWindowEvents();
    }
    void setCachedOfflineWindowEvents(std::vector<std::shared_ptr<OTEvent>> value) {
        reporter_->setCachedOfflineWindowEvents(std::move(value));
    }
    std::vector<std::shared_ptr<OTEvent>> cachedOfflinePushEvents() const {
        return reporter_->cachedOfflinePushEvents();
    }
    void setCachedOfflinePushEvents(std::vector<std::shared_ptr<OTEvent>> value) {
        reporter_->setCachedOfflinePushEvents(std::move(value));
    }
    std::vector<std::shared_ptr<const OTWindowData>> inAppDataArray() const { return campaigns_->inAppDataArray(); }
    void setInAppDataArray(std::vector<std::shared_ptr<const OTWindowData>> value) {
        campaigns_->setInAppDataArray(std::move(value));
    }
    std::vector<std::shared_ptr<const OTWindowData>> subscribeDataArray() const {
        return campaigns_->subscribeDataArray();
    }
    void setSubscribeDataArray(std::vector<std::shared_ptr<const OTWindowData>> value) {
        campaigns_->setSubscribeDataArray(std::move(value));
    }
    std::shared_ptr<OTWindowRecordTree> windowRecordTree() const { return campaigns_->windowRecordTree(); }
    void setWindowRecordTree(std::shared_ptr<OTWindowRecordTree> value) {
        campaigns_->setWindowRecordTree(std::move(value));
    }
    std::vector<std::shared_ptr<OTEvent>> waitingEvents() const { return waitingEvents_.get(); }
    void setWaitingEvents(std::vector<std::shared_ptr<OTEvent>> value) { waitingEvents_.set(std::move(value)); }
    std::uint64_t maxWaitingEventsCount() const { return maxWaitingEventsCount_.load(); }
    void setMaxWaitingEventsCount(std::uint64_t value) { maxWaitingEventsCount_.store(value); }
    OTClock::TimePoint lastBackgroundUpdateTime() const { return session_->lastBackgroundUpdateTime(); }
    void setLastBackgroundUpdateTime(OTClock::TimePoint value) { session_->setLastBackgroundUpdateTime(value); }

    std::uint64_t loginRetryCount() const { return login_->loginRetryCount(); }
    void setLoginRetryCount(std::uint64_t value) { login_->setLoginRetryCount(value); }
    std::uint64_t inAppRetryCount() const { return downloader_->inAppRetryCount(); }
    void setInAppRetryCount(std::uint64_t value) { downloader_->setInAppRetryCount(value); }
    std::uint64_t subscribeRetryCount() const { return downloader_->subscribeRetryCount(); }
    void setSubscribeRetryCount(std::uint64_t value) { downloader_->setSubscribeRetryCount(value); }
    std::uint64_t reportEventRetryCount() const { return reporter_->reportEventRetryCount(); }
    void setReportEventRetryCount(std::uint64_t value) { reporter_->setReportEventRetryCount(value); }
    std::uint64_t triggerRetryCount() const { return downloader_->triggerRetryCount(); }
    void setTriggerRetryCount(std::uint64_t value) { downloader_->setTriggerRetryCount(value); }
    std::uint64_t uploadPushTokenRetryCount() const { return identity_->uploadPushTokenRetryCount(); }
    void setUploadPushTokenRetryCount(std::uint64_t value) { identity_->setUploadPushTokenRetryCount(value); }
    std::uint64_t aliasRetryCount() const { return identity_->aliasRetryCount(); }
    void setAliasRetryCount(std::uint64_t value) { identity_->setAliasRetryCount(value); }
    std::uint64_t maxRetryCount() const { return session_->maxRetryCount(); }
    void setMaxRetryCount(std::uint64_t value) { session_->setMaxRetryCount(value); }
    std::int64_t pvCount() const { return pvCount_.load(); }
    void setPvCount(std::int64_t value) { pvCount_.store(value); }
    std::int64_t mainPagePVCount() const { return mainPagePVCount_.load(); }
    void setMainPagePVCount(std::int64_t value) { mainPagePVCount_.store(value); }
    std::shared_ptr<OTViewController> mainPageController() const { return mainPageController_.get(); }
    void setMainPageController(std::shared_ptr<OTViewController> value) { mainPageController_.set(std::move(value)); }
    std::shared_ptr<OTEvent> cachedFirstPVEventOfMainPage() const { return cachedFirstPVEventOfMainPage_.get(); }
    void setCachedFirstPVEventOfMainPage(std::shared_ptr<OTEvent> value) {
        cachedFirstPVEventOfMainPage_.set(std::move(value));
    }
    std::shared_ptr<OTEvent> currentTriggerEvent() const { return currentTriggerEvent_.get(); }
    void setCurrentTriggerEvent(std::shared_ptr<OTEvent> value) { currentTriggerEvent_.set(std::move(value)); }
    double calibrationTime() const { return session_->calibrationTime(); }
    void setCalibrationTime(double value) { session_->setCalibrationTime(value); }

    // Server link, forwarded to the session's classes. Answers arrive on the HTTP session's thread;
    // retries wait a random delay on the main queue.
    void loginWithCompletion(const std::function<void()>& completion);
    // An expired token: logs in again, then runs `retry`, while `retries` stays within the limit.
    void loginAgainWithin(std::atomic<std::uint64_t>& retries, const std::function<void()>& retry) {
        login_->loginAgainWithin(retries, retry);
    }

    // The banner campaigns: downloaded after the dialog lists and matched after the dialogs.
    // Nothing happens with banners while none is set; the facade sets the banner manager.
    std::shared_ptr<OTBannerHandler> bannerHandler() const { return bannerHandler_.get(); }
    void setBannerHandler(std::shared_ptr<OTBannerHandler> handler) { bannerHandler_.set(std::move(handler)); }
    void setBannerHandlerIfNone(const std::function<std::shared_ptr<OTBannerHandler>()>& make);
    void getListData(bool force) { downloader_->getListData(force); }
    void getInAppList() { downloader_->getInAppList(); }
    void getSubscribeList() { downloader_->getSubscribeList(); }
    void triggerEvent(const std::shared_ptr<OTEvent>& event) { downloader_->triggerEvent(event); }
    std::uint32_t getRandomRetryDurationWithRetryCount(std::uint64_t count, double ratio) {
        return session_->getRandomRetryDurationWithRetryCount(count, ratio);
    }

    // Usage reports, with the properties of the event being matched.
    void reportWindowEventWithName(const std::string& name, std::int64_t type,
                                   const std::shared_ptr<const OTWindowData>& data);
    void reportPushEventWithType(std::int64_t type, const nlohmann::json& msg,
                                 const std::optional<std::string>& groupIdentifier);
    void _reportEvent(const std::shared_ptr<OTEvent>& event) { reporter_->_reportEvent(event); }
    void _reportEvent(const std::shared_ptr<OTEvent>& event, const std::optional<std::string>& groupIdentifier) {
        reporter_->_reportEvent(event, groupIdentifier);
    }
    void pushTrack(std::int64_t type, const nlohmann::json& msg, const std::optional<std::string>& groupIdentifier);
    void syncCachedEvent(const std::shared_ptr<OTEvent>& event, bool isWindowEvent) {
        reporter_->syncCachedEvent(event, isWindowEvent);
    }
    void syncCachedEvents(const std::vector<std::shared_ptr<OTEvent>>& events, bool isWindowEvents) {
        reporter_->syncCachedEvents(events, isWindowEvents);
    }
    void reportCachedOfflineEvents() { reporter_->reportCachedOfflineEvents(); }
    void reportCachedOfflineWindowEvents() { reporter_->reportCachedOfflineWindowEvents(); }
    void reportCachedOfflinePushEvents() { reporter_->reportCachedOfflinePushEvents(); }

    // The push address: Apple push takes the raw device-token bytes, JPush (provider 1) the
    // registration id text. An upload is queued unless today's upload already sent the same
    // provider, address, group and user.
    void pushToken(const CorvanePushToken& token, const std::optional<std::string>& groupIdentifier) {
        pushToken(token, OTIdentityUploader::kProviderApple, groupIdentifier);
    }
    void pushToken(const CorvanePushToken& token, std::uint64_t provider,
                   const std::optional<std::string>& groupIdentifier);
    static std::optional<std::string> deviceToken2String(const CorvanePushToken& token) {
        return OTIdentityUploader::deviceToken2String(token);
    }
    void uploadPushToken() { identity_->uploadPushToken(); }
    // Links the previous user id to the one now stored for the group.
    void alias(const std::optional<std::string>& userId) { identity_->alias(userId); }
    void setWeChatId(const std::optional<std::string>& weChatId, const std::optional<std::string>& appId,
                     const std::optional<std::string>& openId) {
        identity_->setWeChatId(weChatId, appId, openId);
    }
    // Hands the log files to the mail composer, on the main queue, presented over `controller` or,
    // without one, over the visible screen.
    void sendLogToEmail(const std::string& address, const std::shared_ptr<OTViewController>& controller);

    // Where the engine's files live: the documents folder of the sandbox.
    std::string documentsPath(const std::string& fileName) const { return session_->documentsPath(fileName); }

private:
    // Construction and start-up steps that belong to later layers of the engine.
    void startReachability();
    void installDefaultServerEnvironments();
    void registerForRemoteNotifications(const CorvaneOtConfig& configuration);
    void configureCustomServer(const std::string& url);
    void connectServerLink();
    void loginThenDownload();
    void loadBanners();
    // The in-app list answered: record nodes merged, "$pullDialog" reported, the first waiting
    // page view replayed.
    void acceptInAppList(std::vector<std::shared_ptr<const OTWindowData>> campaigns);
    void acceptSubscribeList(std::vector<std::shared_ptr<const OTWindowData>> campaigns);
    void matchBanners(const std::shared_ptr<OTEvent>& event);
    // The properties of the event being matched, which every report carries.
    nlohmann::json triggerContext() const;
    // The visible page's class name and whether `controller` is on top, read on the main queue.
    void followFirstPageView(OTFirstPageViewRules::Outcome outcome, const std::shared_ptr<OTEvent>& event,
                             const std::shared_ptr<const OTWindowData>& data, std::uint64_t index);

    OTEnvironment& environment_;
    // The engine may be held past its environment; its destructor only needs the centre.
    std::weak_ptr<OTNotificationCenter> notifications_;
    std::once_flag interceptionOnce_;
    std::shared_ptr<OTServerSession> session_;
    std::shared_ptr<OTLoginClient> login_;
    std::shared_ptr<OTCampaignDownloader> downloader_;
    std::shared_ptr<OTEventReporter> reporter_;
    std::shared_ptr<OTIdentityUploader> identity_;
    std::unique_ptr<OTCampaignStore> campaigns_;
    std::unique_ptr<OTDisplayEligibility> eligibility_;
    std::unique_ptr<OTDialogFlow> dialogs_;

    std::atomic<std::int64_t> currentMatchEventIndex_{0};
    std::atomic<bool> autoCollectPageInfo_{true};
    OTLocked<std::shared_ptr<OTPageCollection>> pageCollection_;
    OTLocked<std::vector<std::shared_ptr<OTEvent>>> waitingEvents_;
    // Held while a user change compares with the stored user and stores the new one, so that two
    // changes at once decide one after the other.
    std::mutex userChangeMutex_;
    std::atomic<std::uint64_t> maxWaitingEventsCount_{5};
    std::atomic<std::int64_t> pvCount_{0};
    std::atomic<std::int64_t> mainPagePVCount_{0};
    OTLocked<std::shared_ptr<OTViewController>> mainPageController_;
    OTLocked<std::shared_ptr<OTEvent>> cachedFirstPVEventOfMainPage_;
    OTLocked<std::shared_ptr<OTEvent>> currentTriggerEvent_;
    OTLocked<std::shared_ptr<OTBannerHandler>> bannerHandler_;
};

}  // namespace corvane
