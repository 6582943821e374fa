#include "ui/OTBannerManager.h"

#include "core/OTDecisionTrace.h"
#include "core/OTSDKManager.h"
#include "core/OTTask.h"
#include "core/OTTaskManager.h"
#include "model/OTBanner.h"
#include "model/OTBannerRecordTree.h"
#include "model/OTBannerRecordTreeNode.h"
#include "platform/OTEnvironment.h"
#include "platform/OTUIHost.h"
#include "server/OTBannerLists.h"
#include "services/OTDataArchiver.h"
#include "services/OTDownloadManager.h"
#include "services/OTLogger.h"
#include "services/OTUtils.h"
#include "ui/OTBannerView.h"

namespace corvane {

namespace {
// Writes one of the files; failures are logged under the sync's name.
template <class Objects>
void syncBannerFile(const Objects& objects, const std::string& path, const char* name) {
    if (!OTDataArchiver::setData(objects, path)) OTLog(OTLogger::kLevelError, "%@ 失败！", name);
}

bool sameBannerID(const OTBanner& a, const OTBanner& b) { return a.bannerID() && a.bannerID() == b.bannerID(); }
}  // namespace

OTBannerManager::OTBannerManager() {
    auto restore = [this](const char* fileName) {
        auto stored = OTDataArchiver::getObjectsForPath<OTBanner>(pathOf(fileName));
        return stored ? Banners(stored->begin(), stored->end()) : Banners{};
    };
    bannerDefaultArray_.set(restore(kBannerDefaultFileName));
    // Until a default download succeeds, a campaign download keeps the defaults it finds.
    tempBannerDefaultArray_.set(bannerDefaultArray_.get());
    bannerArray_.set(restore(kBannerListFileName));
    if (auto json = OTDataArchiver::getJsonForPath(pathOf(kBannerJsonDataFileName)); json && json->is_array()) {
        jsonDataArray_.set(std::move(*json));
    }
    auto nodes = OTDataArchiver::getObjectsForPath<OTBannerRecordTreeNode>(pathOf(kBannerRecordTreeFileName));
    std::vector<OTRecordTree::NodePtr> treeNodes;
    if (nodes) treeNodes.assign(nodes->begin(), nodes->end());
    bannerRecordTree_ = OTBannerRecordTree::treeWithNodes(std::move(treeNodes));
}

std::shared_ptr<OTBannerManager> OTBannerManager::sharedManager() {
    return OTEnvironment::current()->singleton<OTBannerManager>([] { return std::make_shared<OTBannerManager>(); });
}

std::string OTBannerManager::pathOf(const char* fileName) const {
    return (OTEnvironment::current()->sandbox().documentsDirectory() / fileName).string();
}

// ---- Downloads ----

void OTBannerManager::loadBannerDefault(const std::optional<std::string>& groupIdentifier) {
    request(kDefaultBannerPath, groupIdentifier, true, bannerDefaultRetryCount_,
            [](OTBannerManager& manager, const nlohmann::json& answer) { manager.acceptDefaultBanners(answer); });
}

void OTBannerManager::loadBanner(const std::optional<std::string>& groupIdentifier) {
    request(kBannerPath, groupIdentifier, false, bannerRetryCount_,
            [](OTBannerManager& manager, const nlohmann::json& answer) { manager.acceptBanners(answer); });
}

void OTBannerManager::request(const char* path, const std::optional<std::string>& groupIdentifier, bool withDevice,
                              std::atomic<std::uint64_t>& retries, Answer answer) {
    std::weak_ptr<OTBannerManager> weak = weak_from_this();
    OTSDKManager::sharedManager()->bannerLists().fetch(
        path, groupIdentifier, withDevice, retries,
        [weak, path, answer = std::move(answer)](const nlohmann::json& parsed) {
            if (weak.expired()) return;
            OTEnvironment::current()->mainQueue()->async([weak, answer, parsed, path] {
                auto manager = weak.lock();
                if (!manager) return;
                const auto list = parsed.find("data");
                if (list == parsed.end() || !list->is_array()) {
                    OTLog(OTLogger::kLevelError, "%@ 应答的 data 不是列表，保留现有横幅", path);
                    return;
                }
                answer(*manager, parsed);
            });
        });
}

OTBannerManager::Banners OTBannerManager::bannersFrom(const nlohmann::json& list) {
    Banners banners;
    for (const auto& element : list) {
        if (!element.is_object()) continue;
        auto banner = std::make_shared<OTBanner>();
        banner->setModelWithDic(element);
        banners.push_back(std::move(banner));
    }
    return banners;
}

void OTBannerManager::prefetchPictures(const Banners& banners) {
    auto downloads = OTDownloadManager::sharedManager();
    for (const auto& banner : banners) {
        for (const auto& url : banner->pictureURLs()) {
            if (!url.empty()) downloads->downloadImageWithURL(url, nullptr);
        }
    }
}

void OTBannerManager::acceptDefaultBanners(const nlohmann::json& answer) {
    auto banners = bannersFrom(answer.at("data"));
    bannerDefaultArray_.set(banners);
    tempBannerDefaultArray_.set(banners);
    prefetchPictures(banners);
    resumeLastBackup();
    syncBannerDefault();
    // Cells that found neither a ready campaign banner nor a default are filled now.
    if (!bannerArray_.modify([](const Banners& campaigns) { return campaigns.empty(); })) handleLoadSuccess();
}

void OTBannerManager::acceptBanners(const nlohmann::json& answer) {
    const auto& data = answer.at("data");
    jsonDataArray_.set(data);
    syncBannerJsonData();
    auto banners = bannersFrom(data);
    auto fresh = OTBannerRecordTree::defaultTree();
    fresh->removeAllTreeNodes();
    for (const auto& banner : banners) {
        auto node = std::make_shared<OTBannerRecordTreeNode>();
        node->setNodeId(banner->bannerIDIntegerValue());
        node->setStartTime(banner->startTime());
        node->setEndTime(banner->endTime());
        node->setDataMD5(banner->dataMD5().empty() ? std::string(OTBannerRecordTree::kNoDigest) : banner->dataMD5());
        fresh->addTreeNode(node);
    }
    bannerArray_.set(banners);
    prefetchPictures(banners);
    bannerRecordTree_->updateWithTree(*fresh);
    handleLoadSuccess();
    saveBackup();
    resumeLastBackup();
    bannerDefaultArray_.set(tempBannerDefaultArray_.get());
    syncBannerRecordTree();
    syncBannerList();
    OTLog(OTLogger::kLevelData, "banner data:\n%@", answer);
}

// ---- Activation and readiness ----

void OTBannerManager::triggerEventMatch(const std::shared_ptr<OTEvent>& event, OTDecisionTrace* trace) {
    if (!event) return;
    constexpr auto kBanner = OTDecisionTrace::Kind::Banner;
    bool armed = false;
    for (const auto& banner : bannerArray()) {
        const auto& conditions = banner->events();
        if (conditions.empty() || !event->matches(conditions.front())) {
            if (trace != nullptr) {
                trace->add(kBanner, banner->bannerID(), "notActivated",
                           [&] { return event->mismatch(conditions.empty() ? nullptr : conditions.front().get()); });
            }
            continue;
        }
        auto node = std::dynamic_pointer_cast<OTBannerRecordTreeNode>(
            bannerRecordTree_->findTreeNodeById(banner->bannerIDIntegerValue()));
        if (!node) {
            if (trace != nullptr)
                trace->add(kBanner, banner->bannerID(), "notActivated",
                           [] { return OTDecisionTrace::reason("noRecord"); });
            continue;
        }
        node->setActivated(true);
        armed = true;
        if (trace != nullptr) trace->add(kBanner, banner->bannerID(), "activated");
    }
    if (armed) syncBannerRecordTree();
}

void OTBannerManager::traceBannersClosed(OTDecisionTrace& trace) {
    for (const auto& banner : bannerArray()) {
        trace.add(OTDecisionTrace::Kind::Banner, banner->bannerID(), "notActivated",
                  [] { return OTDecisionTrace::reason("bannersClosed"); });
    }
}

bool OTBannerManager::readyToShow(const std::shared_ptr<OTBannerRecordTreeNode>& node) const {
    if (!node || !node->activated()) return false;
    const auto start = OTUtils::dateFromString(node->startTime());
    const auto end = OTUtils::dateFromString(node->endTime());
    const auto now = OTEnvironment::current()->clock().now();
    return start && end && *start <= now && now <= *end;
}

// ---- Rendering ----

OTBannerManager::Banner OTBannerManager::getBannerWithConfig(const std::shared_ptr<CorvaneBannerConfig>& config,
                                                             const Banners& sourceArr) {
    if (!config || !config->locationId()) return nullptr;
    for (const auto& banner : sourceArr) {
        if (banner->locationId() == config->locationId()) return banner;
    }
    return nullptr;
}

OTSize OTBannerManager::renderBanner(const std::shared_ptr<CorvaneBannerConfig>& config) {
    if (!config) return {};
    const auto configuration = OTSDKManager::sharedManager()->configuration();
    if (configuration && configuration->bannerClosed()) return {};
    const auto isEmpty = [](const Banners& banners) { return banners.empty(); };
    const bool noDefaults = bannerDefaultArray_.modify(isEmpty);
    if (bannerArray_.modify(isEmpty) && noDefaults) {
        waitForDownload(config);
        return {};
    }

    const auto shown = bannerToShow(config);
    // The campaign banners came first and none is ready: the location's default may still come.
    if (!shown && noDefaults && !config->hidesWhenNotAvailable()) waitForDownload(config);
    if (shown && shown->bannerID() && !shown->bannerID()->empty()) {
        addPresentingBanner(shown);
        saveBackup();
    }

    auto view = OTBannerView::initWithBanner(shown);
    view->render();
    const auto container = config->container();
    if (!container) return view->fetchSize();
    const auto holder = container->contentView();
    std::vector<std::shared_ptr<OTSceneNode>> previous;
    for (const auto& subview : holder->subviews()) {
        if (std::dynamic_pointer_cast<OTBannerView>(subview)) previous.push_back(subview);
    }
    for (const auto& subview : previous) subview->removeFromSuperview();
    holder->addSubview(view);
    return view->bounds().size;
}

void OTBannerManager::waitForDownload(const std::shared_ptr<CorvaneBannerConfig>& config) {
    auto waiting = std::make_shared<CorvaneBannerConfig>();
    waiting->setLocationId(config->locationId());
    waiting->setContainer(config->container());
    waitingBannerConfigs_.modify([&waiting](auto& configs) {
        // A container waits once, for its latest location.
        const auto container = waiting->container();
        if (container) {
            std::erase_if(configs, [&container](const auto& held) { return held->container() == container; });
        }
        configs.push_back(std::move(waiting));
    });
}

OTBannerManager::Banner OTBannerManager::bannerToShow(const std::shared_ptr<CorvaneBannerConfig>& config) const {
    if (!config) return nullptr;
    if (auto campaign = getBannerWithConfig(config, bannerArray())) {
        auto node = std::dynamic_pointer_cast<OTBannerRecordTreeNode>(
            bannerRecordTree_->findTreeNodeById(campaign->bannerIDIntegerValue()));
        if (readyToShow(node)) return campaign;
    }
    return config->hidesWhenNotAvailable() ? nullptr : getBannerWithConfig(config, bannerDefaultArray());
}

void OTBannerManager::addPresentingBanner(const Banner& banner) {
    presentingBanners_.modify([&banner](Banners& banners) {
        for (const auto& presenting : banners) {
            if (presenting->isEqual(*banner)) return;
        }
        banners.push_back(banner);
    });
}

void OTBannerManager::handleLoadSuccess() {
    // Configs that still find nothing to show go back to waiting for the next download.
    const auto waiting = waitingBannerConfigs_.modify([](auto& configs) { return std::exchange(configs, {}); });
    if (waiting.empty()) return;
    for (const auto& config : waiting) renderBanner(config);
    reloadWithContainer(waiting.front()->container());
}

void OTBannerManager::reloadWithContainer(const std::shared_ptr<OTSceneNode>& view) {
    for (auto node = view; node; node = node->superview()) {
        const auto role = node->role();
        if (role != OTSceneNode::Role::TableCell && role != OTSceneNode::Role::CollectionCell) continue;
        const auto list =
            role == OTSceneNode::Role::TableCell ? OTSceneNode::Role::Table : OTSceneNode::Role::Collection;
        for (auto parent = node->superview(); parent; parent = parent->superview()) {
            if (parent->role() == list) {
                OTEnvironment::current()->uiHost().reloadData(parent);
                return;
            }
        }
        return;
    }
}

// ---- Raw access ----

nlohmann::json OTBannerManager::filterJsonData(const nlohmann::json& list, const std::string& locationId) {
    nlohmann::json kept = nlohmann::json::array();
    if (!list.is_array()) return kept;
    bool skipNext = false;
    for (const auto& entry : list) {
        if (skipNext) {
            kept.push_back(entry);
            skipNext = false;
            continue;
        }
        const auto location = entry.is_object() ? entry.find("locationId") : entry.end();
        const bool same = entry.is_object() && location != entry.end() && location->is_string() &&
                          location->get_ref<const std::string&>() == locationId;
        if (same) kept.push_back(entry);
        else skipNext = true;
    }
    return kept;
}

void OTBannerManager::getBanner(const std::string& locationId, Completion completion) {
    std::weak_ptr<OTBannerManager> weak = weak_from_this();
    auto task = OTTask::taskWithCondition(
        [weak] {
            auto self = weak.lock();
            if (!self) return false;
            const auto data = self->jsonDataArray();
            return data.is_array() && !data.empty();
        },
        [weak, locationId, completion = std::move(completion)] {
            auto self = weak.lock();
            if (!self || !completion) return;
            const auto kept = filterJsonData(self->jsonDataArray(), locationId);
            completion(kept.empty() ? std::nullopt : OTUtils::arrayOrDicToJsonString(kept));
        });
    OTTaskManager::manager()->addTask(task);
}

// ---- Files ----

void OTBannerManager::saveBackup() {
    if (OTDataArchiver::setData(presentingBanners(), pathOf(kPresentingBannersFileName))) {
        OTLog(OTLogger::kLevelLog, "saveBackup 成功！");
    } else {
        OTLog(OTLogger::kLevelError, "saveBackup 失败！");
    }
}

void OTBannerManager::resumeLastBackup() {
    const auto stored = OTDataArchiver::getObjectsForPath<OTBanner>(pathOf(kPresentingBannersFileName));
    if (!stored) return;
    bannerDefaultArray_.modify([&stored](Banners& defaults) {
        for (const auto& presented : *stored) {
            for (auto& banner : defaults) {
                if (!sameBannerID(*banner, *presented)) continue;
                banner = presented->copy();
                break;
            }
        }
    });
}

void OTBannerManager::syncBannerDefault() {
    syncBannerFile(bannerDefaultArray(), pathOf(kBannerDefaultFileName), "syncBannerDefault");
}

void OTBannerManager::syncBannerList() { syncBannerFile(bannerArray(), pathOf(kBannerListFileName), "syncBannerList"); }

void OTBannerManager::syncBannerJsonData() {
    syncBannerFile(jsonDataArray(), pathOf(kBannerJsonDataFileName), "syncBannerJsonData");
}

void OTBannerManager::syncBannerRecordTree() {
    syncBannerFile(bannerRecordTree_->allNodes(), pathOf(kBannerRecordTreeFileName), "syncBannerRecordTree");
}

}  // namespace corvane
