#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "core/OTBannerHandler.h"
#include "corvane/CorvaneBannerConfig.h"
#include "foundation/OTGeometry.h"
#include "foundation/OTLocked.h"
#include "server/OTBannerLists.h"

namespace corvane {

class OTBanner;
class OTBannerRecordTree;
class OTBannerRecordTreeNode;
class OTSceneNode;

// The banner campaigns of the app: downloads the default banners and the campaign banners, keeps
// them and their usage records in five files, arms a banner when an event meets its first trigger
// condition, and renders the right banner for a location into a host view. Lists are swapped
// whole under their locks: answers arrive on the HTTP thread and are applied on the main queue,
// events are matched on the event queue, rendering runs on the main queue.
class OTBannerManager final : public OTBannerHandler, public std::enable_shared_from_this<OTBannerManager> {
public:
    using Banner = std::shared_ptr<const OTBanner>;
    using Banners = std::vector<Banner>;
    using Completion = std::function<void(const std::optional<std::string>& json)>;

    static constexpr const char* kBannerDefaultFileName = "OTBannerDefault.plist";
    static constexpr const char* kBannerListFileName = "OTBannerList.plist";
    static constexpr const char* kBannerJsonDataFileName = "OTBannerJsonDataArray.plist";
    static constexpr const char* kBannerRecordTreeFileName = "OTBannerRecordTreeData.plist";
    static constexpr const char* kPresentingBannersFileName = "OTPresentingBanners.plist";
    static constexpr const char* kDefaultBannerPath = OTBannerLists::kDefaultBannerPath;
    static constexpr const char* kBannerPath = OTBannerLists::kBannerPath;

    // Restores the lists and the record tree from their files.
    OTBannerManager();
    static std::shared_ptr<OTBannerManager> sharedManager();

    // Downloads.
    void loadBannerDefault(const std::optional<std::string>& groupIdentifier) override;
    void loadBanner(const std::optional<std::string>& groupIdentifier) override;
    // Arms every banner whose first trigger condition the event meets; the other conditions are
    // never looked at.
    void triggerEventMatch(const std::shared_ptr<OTEvent>& event, OTDecisionTrace* trace) override;
    void traceBannersClosed(OTDecisionTrace& trace) override;

    // Rendering, on the main queue: the size of the banner put into the config's container (its
    // preferred size without a container); zero while banners are closed or nothing was
    // downloaded yet, in which case the config waits for the first campaign download.
    OTSize renderBanner(const std::shared_ptr<CorvaneBannerConfig>& config);
    // The raw banner objects of `locationId` as JSON text, once a campaign download has some;
    // `completion` is never called when none arrives within a minute.
    void getBanner(const std::string& locationId, Completion completion);
    // The banner a render shows for the config: the location's campaign banner when it is ready,
    // else its default banner unless the config hides it; nothing when neither applies.
    Banner bannerToShow(const std::shared_ptr<CorvaneBannerConfig>& config) const;
    static Banner getBannerWithConfig(const std::shared_ptr<CorvaneBannerConfig>& config, const Banners& sourceArr);
    // Armed, and now within its start and end times.
    bool readyToShow(const std::shared_ptr<OTBannerRecordTreeNode>& node) const;
    void handleLoadSuccess();
    // Keeps a copy of the config to render again when the next banners land.
    void waitForDownload(const std::shared_ptr<CorvaneBannerConfig>& config);
    // Reloads the table or collection view that holds `view`.
    static void reloadWithContainer(const std::shared_ptr<OTSceneNode>& view);
    void saveBackup();
    void resumeLastBackup();

    void syncBannerDefault();
    void syncBannerList();
    void syncBannerJsonData();
    void syncBannerRecordTree();

    // Fields.
    Banners presentingBanners() const { return presentingBanners_.get(); }
    Banners bannerDefaultArray() const { return bannerDefaultArray_.get(); }
    void setBannerDefaultArray(Banners value) { bannerDefaultArray_.set(std::move(value)); }
    Banners bannerArray() const { return bannerArray_.get(); }
    void setBannerArray(Banners value) { bannerArray_.set(std::move(value)); }
    Banners tempBannerDefaultArray() const { return tempBannerDefaultArray_.get(); }
    nlohmann::json jsonDataArray() const { return jsonDataArray_.get(); }
    void setJsonDataArray(nlohmann::json value) { jsonDataArray_.set(std::move(value)); }
    std::vector<std::shared_ptr<CorvaneBannerConfig>> waitingBannerConfigs() const {
        return waitingBannerConfigs_.get();
    }
    std::shared_ptr<OTBannerRecordTree> bannerRecordTree() const { return bannerRecordTree_; }

    // The walk of `getBanner`: entries of other locations are removed, but the walk steps on after
    // each removal, so of two such entries in a row the second stays.
    static nlohmann::json filterJsonData(const nlohmann::json& list, const std::string& locationId);

private:
    using Answer = std::function<void(OTBannerManager& manager, const nlohmann::json& data)>;
    // One banner request with its answer handling; an expired token logs in again and repeats it,
    // counted by `retries`.
    void request(const char* path, const std::optional<std::string>& groupIdentifier, bool withDevice,
                 std::atomic<std::uint64_t>& retries, Answer answer);
    void acceptDefaultBanners(const nlohmann::json& data);
    void acceptBanners(const nlohmann::json& data);
    static Banners bannersFrom(const nlohmann::json& list);
    static void prefetchPictures(const Banners& banners);
    void addPresentingBanner(const Banner& banner);
    std::string pathOf(const char* fileName) const;

    OTLocked<Banners> presentingBanners_;
    OTLocked<Banners> bannerDefaultArray_;
    OTLocked<Banners> bannerArray_;
    OTLocked<Banners> tempBannerDefaultArray_;
    OTLocked<nlohmann::json> jsonDataArray_{nlohmann::json::array()};
    OTLocked<std::vector<std::shared_ptr<CorvaneBannerConfig>>> waitingBannerConfigs_;
    std::shared_ptr<OTBannerRecordTree> bannerRecordTree_;
    std::atomic<std::uint64_t> bannerDefaultRetryCount_{0};
    std::atomic<std::uint64_t> bannerRetryCount_{0};
};

}  // namespace corvane
