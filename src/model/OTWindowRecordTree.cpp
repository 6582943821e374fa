#include "model/OTWindowRecordTree.h"

#include "platform/OTEnvironment.h"

namespace corvane {

std::shared_ptr<OTWindowRecordTree> OTWindowRecordTree::defaultTree() {
    return OTEnvironment::current()->singleton<OTWindowRecordTree>(
        [] { return std::make_shared<OTWindowRecordTree>(); });
}

std::shared_ptr<OTWindowRecordTree> OTWindowRecordTree::treeWithNodes(std::vector<NodePtr> nodes) {
    auto tree = std::make_shared<OTWindowRecordTree>();
    tree->adoptNodes(std::move(nodes));
    return tree;
}

bool OTWindowRecordTree::refreshTreeNode(const NodePtr& existingNode, const NodePtr& freshNode) {
    auto existing = std::dynamic_pointer_cast<OTWindowRecordTreeNode>(existingNode);
    auto fresh = std::dynamic_pointer_cast<OTWindowRecordTreeNode>(freshNode);
    if (!existing || !fresh) return true;
    std::lock_guard lock(refreshMutex_);
    if (fresh->count() >= 0) existing->setCount(fresh->count());
    if (fresh->usedCount() >= 1) existing->setUsedCount(fresh->usedCount());
    if (auto start = fresh->startTime(); start && !start->empty()) existing->setStartTime(start);
    if (auto end = fresh->endTime(); end && !end->empty()) existing->setEndTime(end);
    existing->setCloseDialogType(fresh->closeDialogType());
    existing->setClickRule(fresh->clickRule());
    existing->setCloseRule(fresh->closeRule());
    if (fresh->clickCount() >= 1) existing->setClickCount(fresh->clickCount());
    if (fresh->closeCount() >= 1) existing->setCloseCount(fresh->closeCount());
    if (auto popped = fresh->lastPopTime()) existing->setLastPopTime(popped);
    if (auto type = fresh->lastEventType(); type && !type->empty()) existing->setLastEventType(type);
    // Activation and the forbidden state live only in the long-lived tree.
    return true;
}

std::shared_ptr<OTWindowRecordTreeNode> OTWindowRecordTree::findWindowNodeById(std::int64_t nodeId) const {
    return std::dynamic_pointer_cast<OTWindowRecordTreeNode>(findTreeNodeById(nodeId));
}

}  // namespace corvane
