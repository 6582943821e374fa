#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "corvane/corvane_export.h"

#include "corvane/CorvaneBannerConfig.h"
#include "corvane/CorvaneOtConfig.h"
#include "corvane/CorvaneOtObserver.h"
#include "corvane/CorvanePushToken.h"

namespace corvane {

/// The library's front door. Every operation is class-level, never throws and never reports an
/// error to the host: bad input is logged and ignored.
///
///   auto observer = CorvaneOtManager::getObserverListener("group.com.example.app");
///   analyticsSdk.addObserver(observer);             // events then flow into the library
///   auto config = std::make_shared<CorvaneOtConfig>();
///   config->setAppKey("your-app-key");
///   config->setMainPage("HomeViewController");
///   CorvaneOtManager::startWithConfig(config);      // logs in and downloads campaigns
class CORVANE_EXPORT CorvaneOtManager {
public:
    CorvaneOtManager() = delete;

    /// The engine, to be registered with the host's analytics SDK as its observer. `groupIdentifier`
    /// is the app group whose shared store keeps the per-user settings; set it before starting.
    static std::shared_ptr<CorvaneOtObserver> getObserverListener(const std::string& groupIdentifier);
    /// Stores the configuration and starts: registers for notifications unless push is closed,
    /// applies a custom server URL, logs in and downloads the campaigns.
    static void startWithConfig(const std::shared_ptr<CorvaneOtConfig>& config);
    /// The library's version, e.g. "2.2.2".
    static std::string SDKVersion();
    /// The library's main-thread work for a host with its own main loop (a presenter set with
    /// corvane_set_presenter draws from here): runs what is due and hands the presenter what
    /// changed, on the thread the library takes for its main one; elsewhere it runs nothing. Gives
    /// how many tasks ran.
    static std::size_t runMainQueue();
    /// Called from a thread of the library's when main-thread work falls due (delayed work when it
    /// is due), once until the host has run the queue; an empty one stops the calls.
    static void setMainQueueWaker(const std::function<void()>& waker);
    /// The console level: 0 none, 1 all but data, 3, 4, 5 that level only, 6 all.
    static void configLogLevel(std::uint64_t level);
    /// The most bytes this run's log file takes (64 MiB unless set; 0 sets that again): past it one
    /// line says the file was cut and nothing more is written to it until the next run.
    static void configLogFileLimit(std::uint64_t bytes);
    /// Where the library's console lines go: every message the log level lets through, with its
    /// level (0 debug, 3 log, 4 warning, 5 error, 6 data), and the direct prints of its matching
    /// and downloads with level -1, whatever the log level. Called on the thread that prints. While a
    /// sink is set nothing goes to standard error; an empty one gives the console back. The log
    /// file is written as ever.
    static void setConsole(std::function<void(std::int64_t level, const std::string& message)> sink);
    /// False holds every dialog back (nothing is shown or counted) until set true again.
    static void setDialogVisible(bool visible);
    /// The close control's label for screen readers (nothing or "" for the built-in "关闭" or
    /// "Close", after the device language), for dialogs shown from then on.
    static void setCloseLabel(const std::optional<std::string>& label);
    /// The user's preferred text size as its scale factor (1.0 by default, clamped to 0.8 to 3.2;
    /// not a number is ignored): dialogs and banners shown from then on lay their texts out at that
    /// size, growing or scrolling so that no text is cut. Each node of a scene (setPresenter's
    /// JSON) carries what a screen reader needs: see "accessibility", "modal" and "touchFrame" in
    /// corvane_ostrel.h.
    static void setTextScale(double scale);
    /// Why a campaign did or did not show: for every pass of an event over the campaigns, one record
    /// of each campaign's verdict, with the first reason it was not shown and the values that
    /// decided it. The listener is called on the main queue, once a pass is over (a dialog it
    /// scheduled has reached the screen); an empty listener stops the records, and while none is
    /// set no record is made at all. The record:
    ///   {"event": {"xwhat", "source" (0 CorvaneSDK, 1 Sensors Analytics, null for a replay)},
    ///    "pass": "event" | "waitingEvent" | "mainPageReplay" | "afterReaction", "startIndex" (> 0),
    ///    "campaigns": [{"id", "kind": "inApp" | "subscribe" | "banner", "verdict", "reason", ...}],
    ///    "verdict", "reason", ... (the pass's own, when no campaign was examined or the in-app and
    ///    banner walks were held back), "omitted": {kind: {verdict: count}} (past 100 campaigns)}
    /// Verdicts: "shown", "scheduled" (never presented: no presenter), "advanced" (a step of a
    /// sequence was taken, the pass ends), "notMatched", "notEligible", "heldBack", "notExamined"
    /// (after the campaign that ended the pass: "endedBy", "because"), "sentToServer",
    /// "waiting", "dropped", "activated", "notActivated". Reasons and their values:
    ///   "eventName" {expected, actual}; "propertyRule" {relation, field, operator, dataType,
    ///   expected, actual}; "sequenceStep" {step, of, expected}; "firstPageView" {case, url,
    ///   expected, mainPage, visiblePage, mainPageViews, kept}; "dailyCap" {count, max}; "usedUp"
    ///   {used, count}; "dateWindow" {start, end, today}; "shownBefore"; "pause" {rule, until};
    ///   "reactionCount" {rule, count, max}; "noRuleForReaction" {lastEventType}; "dialogOnScreen"
    ///   {id}; "dialogScheduled" {id} (decided, waiting for its delay: it counts as on screen);
    ///   "dialogsHidden"; "bannersClosed"; "noRecord"; "noCampaignsYet" {waiting, max,
    ///   discarded}; "passEnded" {endedBy, because}.
    static void setDecisionListener(std::function<void(const nlohmann::json& record)> listener);
    /// Hears what becomes of every impression, click, close and push report, as it happens and on the
    /// thread where it happens (keep the listener short and thread-safe); null stops it. Records:
    ///   {"fate": "made", "queue", "report"}: made and sent;
    ///   {"fate": "sent" | "refused" | "failed", "queue", "report"}: each time it is sent, the server
    ///   took it, answered no (it is dropped, or repeated after logging in again), or it was lost
    ///   in transport;
    ///   {"fate": "queued", "queue", "report", "written"}: lost in transport, kept in the queue file
    ///   ("written" false when the file could not be written);
    ///   {"fate": "dropped", "queue", "reports"}: the oldest, dropped from a full queue;
    ///   {"fate": "loaded", "queue", "count"}: a queue file read back to be sent again.
    /// "queue" is "window" (dialog reports) or "push"; a report is the dictionary the server receives.
    static void setReportListener(std::function<void(const nlohmann::json& record)> listener);
    /// A push notification delivered (type 0) or opened (type 1); `msg` is its payload. An opened
    /// one is also followed: its link is opened in the app. Works in a notification extension too:
    /// the token and user come from the group's shared settings.
    static void pushTrack(std::int64_t type, const nlohmann::json& msg, const std::string& groupIdentifier);

    /// The app's push address, uploaded at most once a day per provider, address, group and user.
    /// Apple push (provider 0) takes the device-token bytes as the system hands them; JPush
    /// (provider 1) takes the registration id text. A token of the other kind is refused.
    static void pushToken(const CorvanePushToken& token, const std::string& groupIdentifier);
    /// The same, for the push provider given (0 Apple push, 1 JPush).
    static void pushToken(const CorvanePushToken& token, std::uint64_t provider, const std::string& groupIdentifier);
    /// The user's WeChat identity; nothing is sent without an app id and an open id.
    static void setWeChatId(const std::optional<std::string>& weChatId, const std::optional<std::string>& appId,
                            const std::optional<std::string>& openId);
    /// Opens the mail composer over the visible screen with the library's log files attached.
    static void sendLogToEmail(const std::string& address);
    /// The page tagging tool for developers: true shows a floating tag ball over the app, which opens
    /// a screen to name the page on show and upload that name; false hides the ball.
    static void setPageTagState(bool on);

    /// For a host that draws its own screens. With a listener set, the library hands over every
    /// navigation it decides (a campaign's button or banner, an opened notification) instead of
    /// moving its own page model, on the main queue when it would have navigated; the host performs
    /// it and then reports the page it shows with pageShown. An empty listener gives navigation
    /// back to the library's model. Each navigation is one of:
    ///   {"kind": "page", "page": class name, "properties": {name: text} (the declared ones the
    ///    link set), "presentation": "push" | "present", "source"}
    ///   {"kind": "tab", "page": class name, "tab": index of the tab rooted at that class, "source"}
    ///   {"kind": "web", "url", "source"}   an http or https address, shown inside the app
    ///   {"kind": "url", "url", "source"}   another scheme, opened by the system outside the app
    /// "source" is "campaign" or "notification".
    static void setNavigationListener(std::function<void(const nlohmann::json& navigation)> listener);
    /// Declares a page of the host that links can open, with the properties a link may set on it.
    static void registerPage(const std::string& className, const std::vector<std::string>& properties);
    /// Tells the library which page the host now shows: page tracking, first-page-view campaigns and
    /// every rule that reads the visible page follow it. Call on the main thread.
    static void pageShown(const std::string& className);
    /// The bytes of a campaign picture, for a host that draws it itself: from the library's cache
    /// when it holds them (campaign pictures are stored as campaigns download), otherwise fetched
    /// once and stored, so the library's own drawing and every later ask use the same copy. Handed
    /// to `completion` on the main queue; nothing when the address is empty or the picture cannot
    /// be had.
    static void picture(const std::string& url,
                        std::function<void(const std::optional<std::string>& bytes)> completion);

    /// A banner size in points.
    struct Size {
        double width = 0;   ///< Points across.
        double height = 0;  ///< Points down.
    };
    /// Renders the banner of the config's location into its container and returns the banner's
    /// size (its preferred size when there is no container). Before the first banner download the
    /// request waits and the size is zero; the container is filled once banners arrive, and a table
    /// or collection view around it is reloaded. Call on the main thread.
    static Size loadBanner(const std::shared_ptr<CorvaneBannerConfig>& config);
    /// The server's banner objects for a location, as JSON text (nothing when the location has
    /// none), once banners have been downloaded; never called when no download succeeds within a
    /// minute, and never for an empty location id.
    static void getBanner(const std::string& locationId,
                          std::function<void(const std::optional<std::string>& json)> completion);
};

}  // namespace corvane
