#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "model/OTRecordTree.h"
#include "model/OTWindowRecordTreeNode.h"

namespace corvane {

// Usage records of dialog campaigns.
class OTWindowRecordTree final : public OTRecordTree {
public:
    // The shared tree that each download is built into before it is merged.
    static std::shared_ptr<OTWindowRecordTree> defaultTree();
    static std::shared_ptr<OTWindowRecordTree> treeWithNodes(std::vector<NodePtr> nodes);

    // Limits and rules follow the server; counters kept on the device never go down.
    bool refreshTreeNode(const NodePtr& existing, const NodePtr& fresh) override;
    std::shared_ptr<OTWindowRecordTreeNode> findWindowNodeById(std::int64_t nodeId) const;

private:
    std::mutex refreshMutex_;
};

}  // namespace corvane
