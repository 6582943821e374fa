#pragma once

#include <atomic>
#include <functional>
#include <cstdint>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "corvane/CorvaneOtConfig.h"
#include "corvane/CorvaneOtObserver.h"
#include "platform/OTClock.h"
#include "platform/OTLocked.h"

class OTEnvironment;
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
// environment). Fields touched from more than one queue are guarded per access.
class OTSDKManager final : public CorvaneOtObserver, public std::enable_shared_from_this<OTSDKManager> {
public:
    static constexpr const char* kSDKVersion = "2.2.2";
    static constexpr const char* kInAppFileName = "OTInAppWindowData.plist";
    static constexpr const char* kSubscribeFileName = "OTSubscribeWindowData.plist";
    static constexpr const char* kRecordTreeFileName = "OTWindowRecordTreeData.plist";
    static constexpr const char* kOfflineWindowEventsFileName = "OTCachedOfflineWindowEvents.plist";
    static constexpr const char* kOfflinePushEventsFileName = "OTCachedOfflinePushEvents.plist";
    static constexpr const char* kReportPath = "/push/sdk/in_app/callback";
    static constexpr const char* kEventQueueLabel = "com.OT.eventData";

    explicit OTSDKManager(OTEnvironment& environment);
    ~OTSDKManager() override;

    static std::shared_ptr<OTSDKManager> sharedManager();
    // The shared engine; a non-empty `groupIdentifier` is stored first.
    std::shared_ptr<OTSDKManager> managerWithGroupIdentifier(const std::optional<std::string>& groupIdentifier);
    void startWithConfiguration(const std::shared_ptr<CorvaneOtConfig>& configuration);
    static std::string SDKVersion() { return kSDKVersion; }
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
    void triggerEventMatchInApp(const std::shared_ptr<OTEvent>& event, std::uint64_t startIndex);
    void handleEvent(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<OTWindowData>& data);
    void firstPVWithoutMainPage(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<OTWindowData>& data);
    void firstPVWithMainPage(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<OTWindowData>& data);
    void triggerEventMatchBanner(const std::shared_ptr<OTEvent>& event);

    // Display eligibility: the daily cap, the date window and the campaign's usage record.
    bool readyToShowWithData(const std::shared_ptr<OTWindowData>& data);
    bool matchData(const std::shared_ptr<OTWindowData>& data);
    // Campaigns without both usage rules: counts an eligible showing itself (so twice in all).
    bool matchOldRuleWithData(const std::shared_ptr<OTWindowData>& data);
    bool matchNewRuleWithData(const std::shared_ptr<OTWindowData>& data);
    void syncWithTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node);

    // The dialog flow: a matched campaign is shown after its delay and each reaction is recorded,
    // reported, followed and may let matching go on.
    using EventAction = std::function<void(std::int64_t type, const std::optional<std::string>& link)>;
    void prepareForPopWindowWithData(const std::shared_ptr<OTWindowData>& data, const std::shared_ptr<OTEvent>& event);
    void _showWindowWithData(const std::shared_ptr<OTWindowData>& data, EventAction eventAction,
                             std::function<void(bool shown)> callback);
    // Whether matching goes on after a reaction.
    bool _handleWindowClickCallback(std::int64_t type, const std::optional<std::string>& link);
    void syncTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node, std::int64_t eventType);
    void handleNodeForbiddenState(const std::shared_ptr<OTWindowData>& data);
    // Holds an event that came before the campaigns: at most `maxWaitingEventsCount`, none twice,
    // none that a waiting event already matches.
    void addWaitingEvent(const std::shared_ptr<OTEvent>& event);

    // No dialog counts as armed after a restart or a download; forbidden states expire.
    void clearTreeNodeActivateState();
    void syncInAppData();
    void syncSubscribeData();
    void syncRecordTree();

    // Fields.
    std::int64_t currentMatchEventIndex() const { return currentMatchEventIndex_.load(); }
    void setCurrentMatchEventIndex(std::int64_t value) { currentMatchEventIndex_.store(value); }
    bool treeNodesInit() const { return treeNodesInit_.load(); }
    void setTreeNodesInit(bool value) { treeNodesInit_.store(value); }
    bool autoCollectPageInfo() const { return autoCollectPageInfo_.load(); }
    void setAutoCollectPageInfo(bool value) { autoCollectPageInfo_.store(value); }
    bool isPullingData() const { return isPullingData_.load(); }
    void setIsPullingData(bool value) { isPullingData_.store(value); }
    std::shared_ptr<CorvaneOtConfig> configuration() const { return configuration_.get(); }
    void setConfiguration(std::shared_ptr<CorvaneOtConfig> value) { configuration_.set(std::move(value)); }
    std::optional<std::string> groupIdentifier() const { return groupIdentifier_.get(); }
    void setGroupIdentifier(std::optional<std::string> value) { groupIdentifier_.set(std::move(value)); }
    std::optional<std::string> deviceToken() const { return deviceToken_.get(); }
    void setDeviceToken(std::optional<std::string> value) { deviceToken_.set(std::move(value)); }
    std::optional<std::string> deviceId() const { return deviceId_.get(); }
    void setDeviceId(std::optional<std::string> value) { deviceId_.set(std::move(value)); }
    std::optional<std::string> token() const { return token_.get(); }
    void setToken(std::optional<std::string> value) { token_.set(std::move(value)); }
    std::optional<std::string> userId() const { return userId_.get(); }
    void setUserId(std::optional<std::string> value) { userId_.set(std::move(value)); }
    std::optional<std::string> appid() const { return appid_.get(); }
    void setAppid(std::optional<std::string> value) { appid_.set(std::move(value)); }
    std::shared_ptr<OTPageCollection> pageCollection() const { return pageCollection_.get(); }
    void setPageCollection(std::shared_ptr<OTPageCollection> value) { pageCollection_.set(std::move(value)); }
    std::vector<std::shared_ptr<OTEvent>> cachedOfflineWindowEvents() const { return cachedOfflineWindowEvents_.get(); }
    void setCachedOfflineWindowEvents(std::vector<std::shared_ptr<OTEvent>> value) {
        cachedOfflineWindowEvents_.set(std::move(value));
    }
    std::vector<std::shared_ptr<OTEvent>> cachedOfflinePushEvents() const { return cachedOfflinePushEvents_.get(); }
    void setCachedOfflinePushEvents(std::vector<std::shared_ptr<OTEvent>> value) {
        cachedOfflinePushEvents_.set(std::move(value));
    }
    std::vector<std::shared_ptr<OTWindowData>> inAppDataArray() const { return *inAppDataArray_.get(); }
    void setInAppDataArray(std::vector<std::shared_ptr<OTWindowData>> value) {
        inAppDataArray_.set(std::make_shared<const std::vector<std::shared_ptr<OTWindowData>>>(std::move(value)));
    }
    std::vector<std::shared_ptr<OTWindowData>> subscribeDataArray() const { return subscribeDataArray_.get(); }
    void setSubscribeDataArray(std::vector<std::shared_ptr<OTWindowData>> value) {
        subscribeDataArray_.set(std::move(value));
    }
    std::shared_ptr<OTWindowRecordTree> windowRecordTree() const { return windowRecordTree_.get(); }
    void setWindowRecordTree(std::shared_ptr<OTWindowRecordTree> value) { windowRecordTree_.set(std::move(value)); }
    std::vector<std::shared_ptr<OTEvent>> waitingEvents() const { return waitingEvents_.get(); }
    void setWaitingEvents(std::vector<std::shared_ptr<OTEvent>> value) { waitingEvents_.set(std::move(value)); }
    std::uint64_t maxWaitingEventsCount() const { return maxWaitingEventsCount_.load(); }
    void setMaxWaitingEventsCount(std::uint64_t value) { maxWaitingEventsCount_.store(value); }
    OTClock::TimePoint lastBackgroundUpdateTime() const { return lastBackgroundUpdateTime_.get(); }
    void setLastBackgroundUpdateTime(OTClock::TimePoint value) { lastBackgroundUpdateTime_.set(value); }

    std::uint64_t loginRetryCount() const { return loginRetryCount_.load(); }
    void setLoginRetryCount(std::uint64_t value) { loginRetryCount_.store(value); }
    std::uint64_t inAppRetryCount() const { return inAppRetryCount_.load(); }
    void setInAppRetryCount(std::uint64_t value) { inAppRetryCount_.store(value); }
    std::uint64_t subscribeRetryCount() const { return subscribeRetryCount_.load(); }
    void setSubscribeRetryCount(std::uint64_t value) { subscribeRetryCount_.store(value); }
    std::uint64_t reportEventRetryCount() const { return reportEventRetryCount_.load(); }
    void setReportEventRetryCount(std::uint64_t value) { reportEventRetryCount_.store(value); }
    std::uint64_t triggerRetryCount() const { return triggerRetryCount_.load(); }
    void setTriggerRetryCount(std::uint64_t value) { triggerRetryCount_.store(value); }
    std::uint64_t uploadPushTokenRetryCount() const { return uploadPushTokenRetryCount_.load(); }
    void setUploadPushTokenRetryCount(std::uint64_t value) { uploadPushTokenRetryCount_.store(value); }
    std::uint64_t aliasRetryCount() const { return aliasRetryCount_.load(); }
    void setAliasRetryCount(std::uint64_t value) { aliasRetryCount_.store(value); }
    std::uint64_t maxRetryCount() const { return maxRetryCount_.load(); }
    void setMaxRetryCount(std::uint64_t value) { maxRetryCount_.store(value); }
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
    double calibrationTime() const { return calibrationTime_.load(); }
    void setCalibrationTime(double value) { calibrationTime_.store(value); }

    // Server link: login, campaign download and subscribe triggers. Answers arrive on the HTTP
    // session's thread; retries wait a random delay on the main queue.
    void loginWithCompletion(std::function<void()> completion);
    // Downloads unless already done today with an unchanged server activity time (or `force`).
    void getListData(bool force);
    void getInAppList();
    void getSubscribeList();
    void triggerEvent(const std::shared_ptr<OTEvent>& event);
    // Seconds to wait before retry `count`: below 60 × ratio, 120 or 180 for the first three.
    std::uint32_t getRandomRetryDurationWithRetryCount(std::uint64_t count, double ratio);

    // Usage reports. Rejected reports are dropped; only those lost in transport are queued on
    // disk, and the queues are sent again when the network comes back.
    void reportWindowEventWithName(const std::string& name, std::int64_t type, const std::shared_ptr<OTWindowData>& data);
    void reportPushEventWithType(std::int64_t type, const nlohmann::json& msg, const std::optional<std::string>& groupIdentifier);
    // A dialog event with the engine's own token and user.
    void _reportEvent(const std::shared_ptr<OTEvent>& event);
    // A push event with the token and user of the group's settings: works without a login here.
    void _reportEvent(const std::shared_ptr<OTEvent>& event, const std::optional<std::string>& groupIdentifier);
    void pushTrack(std::int64_t type, const nlohmann::json& msg, const std::optional<std::string>& groupIdentifier);
    void syncCachedEvent(const std::shared_ptr<OTEvent>& event, bool isWindowEvent);
    void syncCachedEvents(const std::vector<std::shared_ptr<OTEvent>>& events, bool isWindowEvents);
    void reportCachedOfflineEvents();
    void reportCachedOfflineWindowEvents();
    void reportCachedOfflinePushEvents();

    // Where the engine's files live: the documents folder of the sandbox.
    std::string documentsPath(const std::string& fileName) const;

private:
    void restoreCampaignLists();
    void restoreRecordTree();
    // Construction and start-up steps that belong to later layers of the engine.
    void startReachability();
    void installDefaultServerEnvironments();
    void registerForRemoteNotifications(const CorvaneOtConfig& configuration);
    void configureCustomServer(const std::string& url);
    void loginThenDownload();
    void uploadPushToken();
    void alias(const std::optional<std::string>& userId);
    void loadBanners();
    void prefetchImage(const std::string& url);
    void scheduleRetry(std::uint32_t seconds, std::function<void()> retry);
    nlohmann::json osObject(bool withDevice, bool withPackage) const;
    // The body of both list downloads.
    nlohmann::json listRequestBody() const;
    // One campaign-list download: `handle` gets every answered code (non-zero codes already
    // logged); transport failures repeat `again` after a random delay, counted by `retries`.
    using ListAnswer = std::function<void(OTSDKManager& engine, std::int64_t code, const nlohmann::json& answer)>;
    void downloadList(const char* path, const char* dataFormat, std::atomic<std::uint64_t> OTSDKManager::*retries,
                      void (OTSDKManager::*again)(), ListAnswer handle);
    // The in-app list answered: records merged, "$pullDialog" reported, the first waiting page view replayed.
    void acceptInAppList(const nlohmann::json& answer);
    // An expired token: logs in again and then runs `retry`, while `retries` stays within the limit.
    void loginAgainWithin(std::atomic<std::uint64_t>& retries, std::function<void()> retry);
    // Logs a transport failure and, within the retry limit, repeats `retry` after a random delay.
    void retryAfterTransportFailure(std::atomic<std::uint64_t>& counter, long code, const std::string& description,
                                    std::function<void()> retry);
    void matchBanners(const std::shared_ptr<OTEvent>& event);
    void handlePushLink(const std::optional<std::string>& link);
    void sendReport(const std::shared_ptr<OTEvent>& event, bool isWindowEvent,
                    const std::optional<std::string>& groupIdentifier);
    // Milliseconds since 1970 on the server's clock.
    double reportTime() const;
    // Writes one queue file; called with the queue's lock held so that the file follows the list.
    bool writeCachedEvents(const std::vector<std::shared_ptr<OTEvent>>& events, bool isWindowEvents) const;
    // Loads a queue file into its list, sends every event and empties the file.
    void flushCachedEvents(bool isWindowEvents, const std::function<void(const std::shared_ptr<OTEvent>&)>& send);
    void reactToDialogEvent(const std::shared_ptr<OTWindowData>& data, std::int64_t type,
                            const std::optional<std::string>& link);
    // The daily test and the date window shared by both rule sets.
    bool dailyTest() const;
    bool dateWindowTest(const OTWindowData& data) const;
    // The visible page's class name and whether `controller` is on top, read on the main queue.
    std::pair<std::string, bool> visiblePage(const std::shared_ptr<OTViewController>& controller) const;

    OTEnvironment& environment_;
    // The engine may be held past its environment; its destructor only needs the centre.
    std::weak_ptr<OTNotificationCenter> notifications_;
    std::once_flag interceptionOnce_;

    std::atomic<std::int64_t> currentMatchEventIndex_{0};
    std::atomic<bool> treeNodesInit_{false};
    std::atomic<bool> autoCollectPageInfo_{true};
    std::atomic<bool> isPullingData_{false};
    OTLocked<std::shared_ptr<CorvaneOtConfig>> configuration_;
    OTLocked<std::optional<std::string>> groupIdentifier_;
    OTLocked<std::optional<std::string>> deviceToken_;
    OTLocked<std::optional<std::string>> deviceId_;
    OTLocked<std::optional<std::string>> token_;
    OTLocked<std::optional<std::string>> userId_;
    OTLocked<std::optional<std::string>> appid_;
    OTLocked<std::shared_ptr<OTPageCollection>> pageCollection_;
    OTLocked<std::vector<std::shared_ptr<OTEvent>>> cachedOfflineWindowEvents_;
    OTLocked<std::vector<std::shared_ptr<OTEvent>>> cachedOfflinePushEvents_;
    // Shared as a whole so that a walk over thousands of campaigns reads the list without copying it.
    OTLocked<std::shared_ptr<const std::vector<std::shared_ptr<OTWindowData>>>> inAppDataArray_{
        std::make_shared<const std::vector<std::shared_ptr<OTWindowData>>>()};
    OTLocked<std::vector<std::shared_ptr<OTWindowData>>> subscribeDataArray_;
    OTLocked<std::shared_ptr<OTWindowRecordTree>> windowRecordTree_;
    OTLocked<std::vector<std::shared_ptr<OTEvent>>> waitingEvents_;
    std::atomic<std::uint64_t> maxWaitingEventsCount_{5};
    OTLocked<OTClock::TimePoint> lastBackgroundUpdateTime_;
    std::atomic<std::uint64_t> loginRetryCount_{0};
    std::atomic<std::uint64_t> inAppRetryCount_{0};
    std::atomic<std::uint64_t> subscribeRetryCount_{0};
    std::atomic<std::uint64_t> reportEventRetryCount_{0};
    std::atomic<std::uint64_t> triggerRetryCount_{0};
    std::atomic<std::uint64_t> uploadPushTokenRetryCount_{0};
    std::atomic<std::uint64_t> aliasRetryCount_{0};
    std::atomic<std::uint64_t> maxRetryCount_{3};
    std::atomic<std::int64_t> pvCount_{0};
    std::atomic<std::int64_t> mainPagePVCount_{0};
    OTLocked<std::shared_ptr<OTViewController>> mainPageController_;
    OTLocked<std::shared_ptr<OTEvent>> cachedFirstPVEventOfMainPage_;
    OTLocked<std::shared_ptr<OTEvent>> currentTriggerEvent_;
    std::atomic<double> calibrationTime_{0};
};
