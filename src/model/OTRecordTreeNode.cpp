#include "model/OTRecordTreeNode.h"

#include "foundation/OTKeyedArchiver.h"

namespace corvane {

std::int64_t OTRecordTreeNode::nodeId() const {
    std::lock_guard lock(mutex_);
    return nodeId_;
}

void OTRecordTreeNode::setNodeId(std::int64_t value) {
    std::lock_guard lock(mutex_);
    nodeId_ = value;
}

std::optional<std::string> OTRecordTreeNode::startTime() const {
    std::lock_guard lock(mutex_);
    return startTime_;
}

void OTRecordTreeNode::setStartTime(std::optional<std::string> value) {
    std::lock_guard lock(mutex_);
    startTime_ = std::move(value);
}

std::optional<std::string> OTRecordTreeNode::endTime() const {
    std::lock_guard lock(mutex_);
    return endTime_;
}

void OTRecordTreeNode::setEndTime(std::optional<std::string> value) {
    std::lock_guard lock(mutex_);
    endTime_ = std::move(value);
}

void OTRecordTreeNode::encodeWithCoder(OTKeyedArchiver& coder) const {
    coder.encodeInteger(nodeId(), "nodeId");
    coder.encodeObject(startTime(), "startTime");
    coder.encodeObject(endTime(), "endTime");
}

void OTRecordTreeNode::decodeBaseKeys(const OTKeyedUnarchiver& coder) {
    setNodeId(coder.decodeIntegerForKey("nodeId"));
    setStartTime(coder.decodeStringForKey("startTime"));
    setEndTime(coder.decodeStringForKey("endTime"));
}

std::shared_ptr<OTRecordTreeNode> OTRecordTreeNode::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto node = std::make_shared<OTRecordTreeNode>();
    node->decodeBaseKeys(coder);
    return node;
}

}  // namespace corvane
