#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTLocked.h"
#include "server/OTServerCall.h"

namespace corvane {

class OTEvent;
class OTLoginClient;
class OTServerSession;
class OTUserConfig;
class OTWindowData;

// Usage reports to "/push/sdk/in_app/callback". Rejected reports are dropped; only those lost in
// transport are queued on disk, one queue for dialog events and one for push events, and the
// queues are sent again when the network comes back.
class OTEventReporter final : public std::enable_shared_from_this<OTEventReporter> {
public:
    static constexpr const char* kOfflineWindowEventsFileName = "OTCachedOfflineWindowEvents.plist";
    static constexpr const char* kOfflinePushEventsFileName = "OTCachedOfflinePushEvents.plist";
    static constexpr const char* kReportPath = "/push/sdk/in_app/callback";

    OTEventReporter(std::shared_ptr<OTServerSession> session, std::shared_ptr<OTLoginClient> login,
                    std::shared_ptr<OTUserConfig> settings);

    // `triggerContext` is the properties of the event being matched: every report carries them.
    void reportWindowEventWithName(const std::string& name, std::int64_t type,
                                   const std::shared_ptr<const OTWindowData>& data,
                                   const nlohmann::json& triggerContext);
    void reportPushEventWithType(std::int64_t type, const nlohmann::json& msg,
                                 const std::optional<std::string>& groupIdentifier,
                                 const nlohmann::json& triggerContext);
    // A dialog event with the session's own token and user.
    void _reportEvent(const std::shared_ptr<OTEvent>& event, OTServerCall::Done done = {});
    // A push event with the token and user of the group's settings: works without a login here.
    void _reportEvent(const std::shared_ptr<OTEvent>& event, const std::optional<std::string>& groupIdentifier,
                      OTServerCall::Done done = {});
    void syncCachedEvent(const std::shared_ptr<OTEvent>& event, bool isWindowEvent);
    void syncCachedEvents(const std::vector<std::shared_ptr<OTEvent>>& events, bool isWindowEvents);
    void reportCachedOfflineEvents();
    void reportCachedOfflineWindowEvents();
    void reportCachedOfflinePushEvents();

    std::vector<std::shared_ptr<OTEvent>> cachedOfflineWindowEvents() const { return cachedOfflineWindowEvents_.get(); }
    std::vector<std::shared_ptr<OTEvent>> cachedOfflinePushEvents() const { return cachedOfflinePushEvents_.get(); }
    // Each queue keeps at most this many reports: when the network stays away, the oldest go.
    static constexpr std::size_t kDefaultMaxQueuedReports = 10000;
    void setMaxQueuedReports(std::size_t count) {
        maxQueuedReports_.store(count == 0 ? kDefaultMaxQueuedReports : count);
    }
    // How many queued reports this run dropped to keep a queue within its bound.
    std::uint64_t droppedQueuedReports() const { return droppedQueuedReports_.load(); }
    std::uint64_t reportEventRetryCount() const { return reportEventRetryCount_.load(); }
    // Hears what becomes of each usage report, on whichever thread it happens:
    //   {"fate": "made", "queue", "report"}: a dialog or push report was made and goes out;
    //   {"fate": "sent" | "refused" | "failed", "queue", "report"}: the server took it, answered no
    //   (dropped, or repeated after logging in again), or it was lost in transport;
    //   {"fate": "queued", "queue", "report", "written"}: lost in transport, kept in its queue file;
    //   {"fate": "dropped", "queue", "reports"}: the oldest reports, dropped to keep a queue bounded;
    //   {"fate": "loaded", "queue", "count"}: a queue file was read to be sent again.
    // "queue" is "window" or "push"; a report is the dictionary the server receives in "events".
    using ReportListener = std::function<void(const nlohmann::json& record)>;
    void setReportListener(ReportListener listener);
    // The counter itself: the WeChat upload spends the same retries on purpose.
    std::atomic<std::uint64_t>& reportEventRetries() { return reportEventRetryCount_; }

private:
    void sendReport(const std::shared_ptr<OTEvent>& event, bool isWindowEvent,
                    const std::optional<std::string>& groupIdentifier, OTServerCall::Done done);
    // Writes one queue file; called with the queue's lock held so that the file follows the list.
    bool writeCachedEvents(const std::vector<std::shared_ptr<OTEvent>>& events, bool isWindowEvents) const;
    // Loads a queue file into its list, sends every event and empties the file.
    void flushCachedEvents(bool isWindowEvents, const std::function<void(const std::shared_ptr<OTEvent>&)>& send);
    void tell(const char* fate, bool isWindowEvent, const std::function<void(nlohmann::json&)>& fill) const;

    std::shared_ptr<OTServerSession> session_;
    std::shared_ptr<OTUserConfig> settings_;
    std::shared_ptr<OTLoginClient> login_;
    OTLocked<std::vector<std::shared_ptr<OTEvent>>> cachedOfflineWindowEvents_;
    OTLocked<std::vector<std::shared_ptr<OTEvent>>> cachedOfflinePushEvents_;
    std::atomic<std::uint64_t> reportEventRetryCount_{0};
    std::atomic<std::size_t> maxQueuedReports_{kDefaultMaxQueuedReports};
    std::atomic<std::uint64_t> droppedQueuedReports_{0};
    OTLocked<std::shared_ptr<const ReportListener>> reportListener_;
};

}  // namespace corvane
