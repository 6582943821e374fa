#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "model/OTRecordTreeNode.h"

namespace corvane {

// Usage records of one kind of campaign: a flat list of nodes in order, at most one per id.
// Changes of the list and reads of the whole list are serialised; searches work on a snapshot.
class OTRecordTree {
public:
    using NodePtr = std::shared_ptr<OTRecordTreeNode>;

    virtual ~OTRecordTree() = default;

    std::vector<NodePtr> allNodes() const;
    bool containsTreeNode(const NodePtr& node) const;
    // Refreshes the node already there with the same id, or appends the new one.
    bool addTreeNode(const NodePtr& node);
    // Removes every node with the node's id.
    bool removeTreeNode(const NodePtr& node);
    bool removeAllTreeNodes();
    // Updates `existing` from `fresh`; the base keeps `existing` as it is.
    virtual bool refreshTreeNode(const NodePtr& existing, const NodePtr& fresh);
    NodePtr findTreeNodeById(std::int64_t nodeId) const;
    // Drops nodes `fresh` lacks (the node right after a removed one is not looked at in that pass,
    // as it always was), then adds or refreshes every node of `fresh` in order.
    void updateWithTree(const OTRecordTree& fresh);

protected:
    void adoptNodes(std::vector<NodePtr> nodes);

private:
    mutable std::mutex mutex_;
    std::vector<NodePtr> nodes_;
};

}  // namespace corvane
