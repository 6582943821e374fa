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

namespace corvane {

class OTEvent;
class OTLoginClient;
class OTServerSession;
class OTWindowData;

// The two campaign-list downloads ("/push/sdk/in_app", "/push/sdk/event/subscribe") and the
// upload of subscribe triggers ("/push/sdk/event/trigger"). Lists arrive parsed at the handlers
// that the engine sets, on the HTTP thread.
class OTCampaignDownloader final : public std::enable_shared_from_this<OTCampaignDownloader> {
public:
    using Campaigns = std::vector<std::shared_ptr<const OTWindowData>>;
    using ListHandler = std::function<void(Campaigns campaigns)>;

    OTCampaignDownloader(std::shared_ptr<OTServerSession> session, std::shared_ptr<OTLoginClient> login);

    // The in-app list as answered (empty when the answer's "data" is no list or an empty one).
    void setInAppListHandler(ListHandler handler);
    // The subscribe list, only when the answer holds a non-empty list.
    void setSubscribeListHandler(ListHandler handler);
    // Banners are loaded beside the dialog lists unless the configuration closes them.
    void setBannerLoader(std::function<void()> loader);

    // Downloads unless already done today with an unchanged server activity time (or `force`).
    void getListData(bool force);
    void getInAppList();
    void getSubscribeList();
    void triggerEvent(const std::shared_ptr<OTEvent>& event);

    bool isPullingData() const { return isPullingData_.load(); }
    void setIsPullingData(bool value) { isPullingData_.store(value); }
    std::uint64_t inAppRetryCount() const { return inAppRetryCount_.load(); }
    void setInAppRetryCount(std::uint64_t value) { inAppRetryCount_.store(value); }
    std::uint64_t subscribeRetryCount() const { return subscribeRetryCount_.load(); }
    void setSubscribeRetryCount(std::uint64_t value) { subscribeRetryCount_.store(value); }
    std::uint64_t triggerRetryCount() const { return triggerRetryCount_.load(); }
    void setTriggerRetryCount(std::uint64_t value) { triggerRetryCount_.store(value); }

private:
    // One list download for the current user: `handle` gets every answered code (non-zero codes
    // already logged) and the answer to take apart, unless the user has changed since; the answer
    // is logged after it, as it came. Transport failures repeat `again` after a random delay,
    // counted by `retries`.
    using ListAnswer = std::function<void(OTCampaignDownloader& downloader, std::int64_t code, nlohmann::json answer)>;
    void downloadList(const char* path, const char* dataFormat,
                      std::atomic<std::uint64_t> OTCampaignDownloader::*retries, void (OTCampaignDownloader::*again)(),
                      ListAnswer handle);
    nlohmann::json listRequestBody(const std::optional<std::string>& user) const;
    // The in-app list answered: settings stamped, campaigns parsed, their pictures prefetched.
    void acceptInAppList(nlohmann::json answer);
    // The answer's "data" list as records; each element's JSON is freed as its record is made, so
    // a long list is never held twice.
    static Campaigns takeCampaigns(nlohmann::json& answer);
    // The handlers, read and replaced under one lock: answers arrive on the HTTP thread.
    ListHandler inAppHandler() const;
    ListHandler subscribeHandler() const;

    std::shared_ptr<OTServerSession> session_;
    std::shared_ptr<OTLoginClient> login_;
    mutable std::mutex handlersMutex_;
    ListHandler inAppHandler_;
    ListHandler subscribeHandler_;
    std::function<void()> bannerLoader_;
    std::atomic<bool> isPullingData_{false};
    std::atomic<std::uint64_t> inAppRetryCount_{0};
    std::atomic<std::uint64_t> subscribeRetryCount_{0};
    std::atomic<std::uint64_t> triggerRetryCount_{0};
};

}  // namespace corvane
