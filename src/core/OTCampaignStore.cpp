#include "core/OTCampaignStore.h"

#include <unordered_map>

#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "model/OTWindowRecordTreeNode.h"
#include "server/OTServerSession.h"
#include "services/OTDataArchiver.h"
#include "services/OTLogger.h"
#include "services/OTUtils.h"

namespace corvane {

namespace {
// Writes one of the files and logs the outcome under the sync's name.
template <class Objects>
void syncFile(const Objects& objects, const std::string& path, const char* name) {
    if (OTDataArchiver::setData(objects, path)) {
        OTLog(OTLogger::kLevelData, "%@ 成功！", name);
    } else {
        OTLog(OTLogger::kLevelError, "%@ 失败！", name);
    }
}

// A forbidden state that never starts: "not forbidden" as the record keeps it.
OTClock::TimePoint never(OTClock::TimePoint now) { return now + std::chrono::seconds(4294967295LL); }
}  // namespace

OTCampaignStore::OTCampaignStore(std::shared_ptr<OTServerSession> session) : session_(std::move(session)) {}

std::string OTCampaignStore::pathOf(const char* fileName) const { return session_->documentsPath(fileName); }

OTCampaignStore::Campaigns OTCampaignStore::readCampaigns(const char* fileName) const {
    auto stored = OTDataArchiver::getObjectsForPath<OTWindowData>(pathOf(fileName));
    return stored ? Campaigns(stored->begin(), stored->end()) : Campaigns{};
}

void OTCampaignStore::restore(OTClock::TimePoint now) {
    setInAppDataArray(readCampaigns(kInAppFileName));
    setSubscribeDataArray(readCampaigns(kSubscribeFileName));
    const auto stored = OTDataArchiver::getObjectsForPath<OTWindowRecordTreeNode>(pathOf(kRecordTreeFileName));
    std::vector<OTRecordTree::NodePtr> nodes;
    if (stored) nodes.assign(stored->begin(), stored->end());
    setWindowRecordTree(OTWindowRecordTree::treeWithNodes(std::move(nodes)));
    clearTreeNodeActivateState(now);
}

void OTCampaignStore::mergeInAppList(const Campaigns& campaigns, OTClock::TimePoint now) {
    auto fresh = std::make_shared<OTWindowRecordTree>();
    if (!campaigns.empty()) {
        for (const auto& campaign : campaigns) {
            auto node = std::make_shared<OTWindowRecordTreeNode>();
            node->setNodeId(campaign->windowIdIntegerValue());
            node->setCount(campaign->count());
            node->setStartTime(campaign->startTime());
            node->setEndTime(campaign->endTime());
            node->setCloseDialogType(campaign->closeDialogType());
            node->setClickRule(campaign->clickRule());
            node->setCloseRule(campaign->closeRule());
            fresh->addTreeNode(node);
        }
    }
    setInAppDataArray(campaigns);
    if (auto tree = windowRecordTree()) tree->updateWithTree(*fresh);
    clearTreeNodeActivateState(now);
    syncRecordTree();
}

void OTCampaignStore::advanceSequences(const Campaigns& met) {
    if (met.empty()) return;
    std::unordered_map<const OTWindowData*, Campaign> steps;
    for (const auto& campaign : met) {
        if (campaign) steps.emplace(campaign.get(), campaign->advancedSequence());
    }
    auto next = std::make_shared<Campaigns>(*inAppDataArray_);
    bool changed = false;
    for (auto& campaign : *next) {
        const auto step = steps.find(campaign.get());
        if (step == steps.end()) continue;
        campaign = step->second;
        changed = true;
    }
    if (changed) inAppDataArray_ = std::move(next);
}

void OTCampaignStore::clearTreeNodeActivateState(OTClock::TimePoint now) {
    if (treeNodesInit()) return;
    const auto tree = windowRecordTree();
    for (const auto& base : tree ? tree->allNodes() : std::vector<OTRecordTree::NodePtr>{}) {
        auto node = std::dynamic_pointer_cast<OTWindowRecordTreeNode>(base);
        if (!node) continue;
        const auto type = node->closeDialogType();
        // Type 1 forbids for the rest of its day; types 2 and others keep their state.
        const bool reset = type == 0 || (type == 1 && !OTUtils::isSameDay(node->forbiddenStartTime(), now));
        if (reset) {
            node->setForbidden(false);
            node->setForbiddenStartTime(never(now));
        }
        if (!node->forbidden()) node->setActivated(false);
    }
    setTreeNodesInit(true);
}

void OTCampaignStore::handleNodeForbiddenState(const OTWindowData& data, OTClock::TimePoint now) {
    const auto tree = windowRecordTree();
    const auto id = data.windowIdIntegerValue();
    for (const auto& base : tree ? tree->allNodes() : std::vector<OTRecordTree::NodePtr>{}) {
        OTLog(OTLogger::kLevelLog,
              "corvane->handleNodeForbiddenState:node.nodeId->%d,windowData.windowId.integerValue->%d", base->nodeId(),
              id);
        if (base->nodeId() != id) continue;
        if (auto node = std::dynamic_pointer_cast<OTWindowRecordTreeNode>(base)) {
            switch (node->closeDialogType()) {
                case 0:
                    node->setForbidden(false);
                    node->setForbiddenStartTime(never(now));
                    break;
                case 1:  // blocked for the rest of the day
                    node->setForbidden(true);
                    node->setForbiddenStartTime(now);
                    break;
                case 2:  // blocked for good
                    node->setForbidden(true);
                    node->setForbiddenStartTime(OTUtils::Date{});
                    break;
                default: break;
            }
        }
        break;
    }
    syncRecordTree();
}

void OTCampaignStore::syncInAppData() { syncFile(inAppDataArray(), pathOf(kInAppFileName), "syncInAppData"); }

void OTCampaignStore::syncSubscribeData() {
    syncFile(subscribeDataArray(), pathOf(kSubscribeFileName), "syncSubscribeData");
}

void OTCampaignStore::syncRecordTree() {
    const auto tree = windowRecordTree();
    syncFile(tree ? tree->allNodes() : std::vector<OTRecordTree::NodePtr>{}, pathOf(kRecordTreeFileName),
             "syncRecordTree");
}

}  // namespace corvane
