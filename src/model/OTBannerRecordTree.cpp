#include "model/OTBannerRecordTree.h"

#include "platform/OTEnvironment.h"

namespace corvane {

std::shared_ptr<OTBannerRecordTree> OTBannerRecordTree::defaultTree() {
    return OTEnvironment::current()->singleton<OTBannerRecordTree>(
        [] { return std::make_shared<OTBannerRecordTree>(); });
}

std::shared_ptr<OTBannerRecordTree> OTBannerRecordTree::treeWithNodes(std::vector<NodePtr> nodes) {
    auto tree = std::make_shared<OTBannerRecordTree>();
    tree->adoptNodes(std::move(nodes));
    return tree;
}

bool OTBannerRecordTree::refreshTreeNode(const NodePtr& existingNode, const NodePtr& freshNode) {
    auto existing = std::dynamic_pointer_cast<OTBannerRecordTreeNode>(existingNode);
    auto fresh = std::dynamic_pointer_cast<OTBannerRecordTreeNode>(freshNode);
    if (!existing || !fresh) return true;
    std::lock_guard lock(refreshMutex_);
    if (auto start = fresh->startTime(); start && !start->empty()) existing->setStartTime(start);
    if (auto end = fresh->endTime(); end && !end->empty()) existing->setEndTime(end);
    const auto digest = fresh->dataMD5();
    if (digest == kNoDigest) existing->setActivated(true);
    // A new digest disarms the banner, so only "Nan" after "Nan" stays armed here.
    if (digest != existing->dataMD5()) {
        existing->setActivated(false);
        existing->setDataMD5(digest);
    }
    return true;
}

}  // namespace corvane
