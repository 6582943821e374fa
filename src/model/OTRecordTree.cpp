#include "model/OTRecordTree.h"

#include <algorithm>

namespace corvane {

std::vector<OTRecordTree::NodePtr> OTRecordTree::allNodes() const {
    std::lock_guard lock(mutex_);
    return nodes_;
}

bool OTRecordTree::containsTreeNode(const NodePtr& node) const {
    if (!node) return false;
    const auto nodes = allNodes();
    return std::any_of(nodes.begin(), nodes.end(), [&](const NodePtr& n) { return node->isEqual(n.get()); });
}

bool OTRecordTree::addTreeNode(const NodePtr& node) {
    if (!node) return false;
    for (const auto& existing : allNodes()) {
        if (node->isEqual(existing.get())) return refreshTreeNode(existing, node);
    }
    std::lock_guard lock(mutex_);
    nodes_.push_back(node);
    return true;
}

bool OTRecordTree::removeTreeNode(const NodePtr& node) {
    if (!node) return true;
    std::lock_guard lock(mutex_);
    std::erase_if(nodes_, [&](const NodePtr& n) { return node->isEqual(n.get()); });
    return true;
}

bool OTRecordTree::removeAllTreeNodes() {
    std::lock_guard lock(mutex_);
    nodes_.clear();
    return true;
}

bool OTRecordTree::refreshTreeNode(const NodePtr&, const NodePtr&) { return true; }

OTRecordTree::NodePtr OTRecordTree::findTreeNodeById(std::int64_t nodeId) const {
    for (const auto& node : allNodes()) {
        if (node && node->nodeId() == nodeId) return node;
    }
    return nullptr;
}

void OTRecordTree::updateWithTree(const OTRecordTree& fresh) {
    for (std::size_t index = 0;; ++index) {
        NodePtr node;
        {
            std::lock_guard lock(mutex_);
            if (index >= nodes_.size()) break;
            node = nodes_[index];
        }
        if (!fresh.containsTreeNode(node)) removeTreeNode(node);
    }
    for (const auto& node : fresh.allNodes()) addTreeNode(node);
}

void OTRecordTree::adoptNodes(std::vector<NodePtr> nodes) {
    std::lock_guard lock(mutex_);
    nodes_ = std::move(nodes);
}

}  // namespace corvane
