#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "model/OTBannerRecordTreeNode.h"
#include "model/OTRecordTree.h"

namespace corvane {

// Usage records of banners.
class OTBannerRecordTree final : public OTRecordTree {
public:
    static constexpr const char* kNoDigest = "Nan";

    static std::shared_ptr<OTBannerRecordTree> defaultTree();
    static std::shared_ptr<OTBannerRecordTree> treeWithNodes(std::vector<NodePtr> nodes);

    // Times follow the server; a changed content digest disarms the banner.
    bool refreshTreeNode(const NodePtr& existing, const NodePtr& fresh) override;

private:
    std::mutex refreshMutex_;
};

}  // namespace corvane
