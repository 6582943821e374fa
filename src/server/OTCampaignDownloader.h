#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "server/OTServerCall.h"

namespace corvane {

class OTDownloadManager;
class OTEvent;
class OTLoginClient;
class OTServerSession;
class OTUserConfig;
class OTWindowData;

// The two campaign-list downloads ("/push/sdk/in_app", "/push/sdk/event/subscribe") and the
// upload of subscribe triggers ("/push/sdk/event/trigger"). Lists arrive parsed at the receivers
// each download is given, on the HTTP thread; a download repeated after a new login or a lost
// connection delivers to the same receivers.
class OTCampaignDownloader final : public std::enable_shared_from_this<OTCampaignDownloader> {
public:
    using Campaigns = std::vector<std::shared_ptr<const OTWindowData>>;
    using ListHandler = std::function<void(Campaigns campaigns)>;
    // Where a download's lists go: the in-app list as answered (empty when the answer's "data" is
    // no list or an empty one), the subscribe list only when non-empty, and the banners, loaded
    // beside the lists unless the configuration closes them.
    struct Receivers {
        ListHandler inApp;
        ListHandler subscribe;
        std::function<void()> banners;
    };

    // Pictures of the campaigns that arrive are fetched through `media`.
    OTCampaignDownloader(std::shared_ptr<OTServerSession> session, std::shared_ptr<OTLoginClient> login,
                         std::shared_ptr<OTUserConfig> settings, std::shared_ptr<OTDownloadManager> media);

    // Downloads unless already done today with an unchanged server activity time (or `force`).
    void getListData(bool force, Receivers receivers);
    void getInAppList(ListHandler receive, OTServerCall::Done done = {});
    void getSubscribeList(ListHandler receive, OTServerCall::Done done = {});
    void triggerEvent(const std::shared_ptr<OTEvent>& event, OTServerCall::Done done = {});

    bool isPullingData() const { return isPullingData_.load(); }
    std::uint64_t inAppRetryCount() const { return inAppRetryCount_.load(); }
    std::uint64_t subscribeRetryCount() const { return subscribeRetryCount_.load(); }
    std::uint64_t triggerRetryCount() const { return triggerRetryCount_.load(); }

private:
    // One list download for the user current at each sending: `accept` gets the answer of a
    // success, unless the user has changed since; every answer is logged after it, as it came.
    // An expired token logs in again and a transport failure repeats after a random delay, both
    // counted by `retries`. Where `everyRefusalExpires`, every code other than 0 logs the expired
    // token's line, though only 10001 logs in again.
    using Accept = std::function<void(OTCampaignDownloader& downloader, nlohmann::json& answer)>;
    void downloadList(const char* path, const char* dataFormat, std::atomic<std::uint64_t>& retries,
                      bool everyRefusalExpires, Accept accept, OTServerCall::Done done);
    nlohmann::json listRequestBody(const std::optional<std::string>& user) const;
    // The in-app list answered: settings stamped, campaigns parsed, their pictures prefetched.
    Campaigns acceptInAppList(nlohmann::json& answer);
    // The answer's "data" list as records; each element's JSON is freed as its record is made, so
    // a long list is never held twice.
    static Campaigns takeCampaigns(nlohmann::json& answer);

    std::shared_ptr<OTServerSession> session_;
    std::shared_ptr<OTLoginClient> login_;
    std::shared_ptr<OTUserConfig> settings_;
    std::shared_ptr<OTDownloadManager> media_;
    std::atomic<bool> isPullingData_{false};
    std::atomic<std::uint64_t> inAppRetryCount_{0};
    std::atomic<std::uint64_t> subscribeRetryCount_{0};
    std::atomic<std::uint64_t> triggerRetryCount_{0};
};

}  // namespace corvane
