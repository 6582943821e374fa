#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "core/OTSDKManagerCollaborators.h"
#include "corvane/CorvaneOtConfig.h"
#include "corvane/CorvaneOtObserver.h"
#include "corvane/CorvanePushToken.h"
#include "foundation/OTLocked.h"

namespace corvane {

class OTBannerHandler;
class OTCampaignStore;
class OTDecisionTrace;
class OTDispatchQueue;
class OTDialogFlow;
class OTDisplayEligibility;
class OTEnvironment;
class OTEvent;
class OTInAppWalk;
class OTNotificationCenter;
class OTPageCollection;
class OTReachability;
class OTSwizzler;
class OTViewController;
class OTWindowData;
struct OTSDKManagerProbe;

// The engine: matches every analytics event against the campaigns and owns what the matching
// keeps between events (the waiting events, the page-view counts, the main page) for the life of
// the process (of the installed environment). The server link, the campaign store, display
// eligibility and the dialog flow are its collaborators, complete when the constructor returns.
class OTSDKManager final : public CorvaneOtObserver, public std::enable_shared_from_this<OTSDKManager> {
public:
    static constexpr const char* kEventQueueLabel = "com.OT.eventData";

    using Collaborators = OTSDKManagerCollaborators;

    OTSDKManager(OTEnvironment& environment, Collaborators collaborators);
    explicit OTSDKManager(OTEnvironment& environment);
    ~OTSDKManager() override;

    static std::shared_ptr<OTSDKManager> sharedManager();

    // The matching state (campaign lists, record tree, waiting events, the walk, counters, the
    // dialog in flight) has one owner: the event queue. Work from the HTTP thread and the main
    // queue that touches it is handed over here: run at once when already on the event queue,
    // queued otherwise. It holds the engine weakly.
    void onLane(std::function<void(OTSDKManager&)> work);
    // The shared engine; a non-empty `groupIdentifier` is stored first.
    std::shared_ptr<OTSDKManager> managerWithGroupIdentifier(const std::optional<std::string>& groupIdentifier);
    void startWithConfiguration(const std::shared_ptr<CorvaneOtConfig>& configuration);
    static std::string SDKVersion();
    OTEnvironment& environment() const { return environment_; }
    std::shared_ptr<CorvaneOtConfig> configuration() const;

    OTServerSession& session() const { return *session_; }
    OTLoginClient& login() const { return *login_; }
    OTCampaignDownloader& downloader() const { return *downloader_; }
    OTEventReporter& reporter() const { return *reporter_; }
    OTIdentityUploader& identity() const { return *identity_; }
    OTBannerLists& bannerLists() const { return *bannerLists_; }
    OTAliasUploader& aliases() const { return *aliases_; }
    OTCampaignStore& campaigns() const { return *campaigns_; }
    OTDisplayEligibility& eligibility() const { return *eligibility_; }
    OTDialogFlow& dialogFlow() const { return *dialogs_; }
    OTPopWindowManager& popWindows() const { return *popWindows_; }
    OTPushManager& push() const { return *push_; }

    // Observer of the host's analytics SDK.
    void onEventDataReceived(const nlohmann::json& event) override;
    void onUserProfile(const nlohmann::json& profile) override;
    void onUserProfile(const std::string& key, const nlohmann::json& value) override;

    // Page tracking: every page shown is reported to autoPageCollected.
    void startPageCollection();
    // Watches views leaving the window: when the cover over the main page goes, its first view is
    // matched again.
    void startWindowObservation();
    // Removes, off the main thread, the temporary files that writes cut short in an earlier run left.
    void sweepLeftovers();
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
    bool autoCollectPage() const { return autoCollectPageInfo_.load(); }

    // Matching of one event against the campaigns: subscribe campaigns (the server decides), then,
    // unless a dialog is on screen, in-app campaigns in list order and banners. `source` is the
    // analytics SDK it came from (0 CorvaneSDK, 1 Sensors Analytics), for the decision trace.
    void triggerEventMatchWithData(const nlohmann::json& data, std::optional<std::int64_t> source = std::nullopt);
    void triggerEventMatchSubscribe(const std::shared_ptr<OTEvent>& event);
    // The in-app walk from `startIndex` (see OTInAppWalk): currentMatchEventIndex only reports the
    // last position examined, it never steers. `pass` names what started a walk that no traced
    // pass is under way for ("mainPageReplay", "waitingEvent", "afterReaction").
    void triggerEventMatchInApp(const std::shared_ptr<OTEvent>& event, std::uint64_t startIndex,
                                const char* pass = "walk");
    void triggerEventMatchBanner(const std::shared_ptr<OTEvent>& event);
    // Holds an event that came before the campaigns: at most `maxWaitingEventsCount`, none twice,
    // none that a waiting event already matches.
    enum class Waiting { Kept, ListFull, AlreadyWaiting, NoEvent };
    Waiting addWaitingEvent(const std::shared_ptr<OTEvent>& event);

    // Why each campaign was shown, held back or passed over, one JSON record per pass of an event
    // (see OTDecisionTrace), on the main queue; an empty listener stops the records.
    using DecisionListener = std::function<void(const nlohmann::json& record)>;
    void setDecisionListener(DecisionListener listener);

    // The walk's state, for what reports it: read on the event queue, or once it is idle.
    std::int64_t currentMatchEventIndex() const { return currentMatchEventIndex_; }
    std::vector<std::shared_ptr<OTEvent>> waitingEvents() const { return waitingEvents_; }
    std::uint64_t maxWaitingEventsCount() const { return kMaxWaitingEventsCount; }
    std::int64_t pvCount() const { return pvCount_; }
    std::int64_t mainPagePVCount() const { return mainPagePVCount_; }
    std::shared_ptr<OTViewController> mainPageController() const { return mainPageController_; }
    std::shared_ptr<OTEvent> cachedFirstPVEventOfMainPage() const { return cachedFirstPVEventOfMainPage_; }
    std::shared_ptr<OTEvent> currentTriggerEvent() const { return currentTriggerEvent_.get(); }
    std::shared_ptr<OTPageCollection> pageCollection() const { return pageCollection_.get(); }

    // The dialog decided and waiting for its delay, which counts as on screen: set when it is
    // scheduled, cleared once it is presented (or cannot be).
    void setScheduledDialog(std::shared_ptr<const OTWindowData> data);
    std::shared_ptr<const OTWindowData> scheduledDialog() const;
    // A debug build stops here when matching state is touched off the event queue.
    void checkLane(const char* what) const;

    // The trace of the pass under way on the event queue; null when none is traced.
    OTDecisionTrace* currentTrace() const;
    // Makes `trace` the pass's trace for the scope's life.
    class TraceScope {
    public:
        TraceScope(OTSDKManager& engine, OTDecisionTrace* trace);
        ~TraceScope();
        TraceScope(const TraceScope&) = delete;
        TraceScope& operator=(const TraceScope&) = delete;

    private:
        OTSDKManager& engine_;
        OTDecisionTrace* previous_;
    };

    // Logs in, then downloads the lists unless today's are current.
    void loginThenDownload();
    // Downloads the campaign lists (and banners) unless today's are current or `force`; the
    // answers are merged into the store and the first waiting page view is replayed.
    void getListData(bool force);

    // The banner campaigns: downloaded after the dialog lists and matched after the dialogs.
    // Nothing happens with banners while none is set; the facade sets the banner manager.
    std::shared_ptr<OTBannerHandler> bannerHandler() const { return bannerHandler_.get(); }
    void setBannerHandler(std::shared_ptr<OTBannerHandler> handler) { bannerHandler_.set(std::move(handler)); }
    void setBannerHandlerIfNone(const std::function<std::shared_ptr<OTBannerHandler>()>& make);

    // Usage reports, with the properties of the event being matched.
    void reportWindowEventWithName(const std::string& name, std::int64_t type,
                                   const std::shared_ptr<const OTWindowData>& data);
    void reportPushEventWithType(std::int64_t type, const nlohmann::json& msg,
                                 const std::optional<std::string>& groupIdentifier);
    void pushTrack(std::int64_t type, const nlohmann::json& msg, const std::optional<std::string>& groupIdentifier);

    // The push address: Apple push takes the raw device-token bytes, JPush (provider 1) the
    // registration id text. An upload is queued unless today's upload already sent the same
    // provider, address, group and user.
    void pushToken(const CorvanePushToken& token, const std::optional<std::string>& groupIdentifier);
    void pushToken(const CorvanePushToken& token, std::uint64_t provider,
                   const std::optional<std::string>& groupIdentifier);
    // Hands the log files to the mail composer, on the main queue, presented over `controller` or,
    // without one, over the visible screen.
    void sendLogToEmail(const std::string& address, const std::shared_ptr<OTViewController>& controller);

private:
    friend struct OTSDKManagerProbe;
    friend class OTInAppWalk;

    void registerNotifications();
    void startReachability();
    void registerForRemoteNotifications(const CorvaneOtConfig& configuration);
    void configureCustomServer(const std::string& url);
    // The trace of a pass, when the host listens for decisions; null otherwise.
    std::shared_ptr<OTDecisionTrace> makeTrace(const OTEvent& event, std::optional<std::int64_t> source,
                                               const char* pass, std::uint64_t startIndex) const;
    void loadBanners();
    // The in-app list answered: record nodes merged, "$pullDialog" reported, the first waiting
    // page view replayed.
    void acceptInAppList(std::vector<std::shared_ptr<const OTWindowData>> campaigns);
    void acceptSubscribeList(std::vector<std::shared_ptr<const OTWindowData>> campaigns);
    // The properties of the event being matched, which every report carries.
    nlohmann::json triggerContext() const;
    std::optional<std::string> mainPage() const;

    OTEnvironment& environment_;
    const std::shared_ptr<OTDispatchQueue> lane_;
    // The engine may be held past its environment; its destructor only needs the centre.
    std::weak_ptr<OTNotificationCenter> notifications_;
    std::once_flag launchOnce_;
    std::shared_ptr<OTServerSession> session_;
    std::shared_ptr<OTLoginClient> login_;
    std::shared_ptr<OTCampaignDownloader> downloader_;
    std::shared_ptr<OTEventReporter> reporter_;
    std::shared_ptr<OTIdentityUploader> identity_;
    std::shared_ptr<OTBannerLists> bannerLists_;
    std::shared_ptr<OTAliasUploader> aliases_;
    std::shared_ptr<OTTaskManager> tasks_;
    std::shared_ptr<OTPopWindowManager> popWindows_;
    std::shared_ptr<OTSwizzler> swizzler_;
    std::shared_ptr<OTPushManager> push_;
    std::shared_ptr<OTReachabilityManager> reachability_;
    std::shared_ptr<OTUserConfig> settings_;
    std::unique_ptr<OTCampaignStore> campaigns_;
    std::unique_ptr<OTDisplayEligibility> eligibility_;
    std::unique_ptr<OTDialogFlow> dialogs_;
    std::unique_ptr<OTInAppWalk> walk_;

    static constexpr std::uint64_t kMaxWaitingEventsCount = 5;

    std::atomic<bool> autoCollectPageInfo_{true};
    OTLocked<std::shared_ptr<OTPageCollection>> pageCollection_;
    // Held while a user change compares with the stored user and stores the new one, so that two
    // changes at once decide one after the other.
    std::mutex userChangeMutex_;
    // Read by every report, from whichever thread makes it.
    OTLocked<std::shared_ptr<OTEvent>> currentTriggerEvent_;
    // Set by the host, read on the event queue.
    OTLocked<std::shared_ptr<OTBannerHandler>> bannerHandler_;
    OTLocked<std::shared_ptr<const DecisionListener>> decisionListener_;

    // The event queue's own: no lock, never touched elsewhere.
    std::int64_t currentMatchEventIndex_ = 0;
    std::vector<std::shared_ptr<OTEvent>> waitingEvents_;
    std::int64_t pvCount_ = 0;
    std::int64_t mainPagePVCount_ = 0;
    std::shared_ptr<OTViewController> mainPageController_;
    std::shared_ptr<OTEvent> cachedFirstPVEventOfMainPage_;
    std::shared_ptr<const OTWindowData> scheduledDialog_;
    OTDecisionTrace* currentTrace_ = nullptr;
};

}  // namespace corvane
