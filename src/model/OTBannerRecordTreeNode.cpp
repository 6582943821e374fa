#include "model/OTBannerRecordTreeNode.h"

#include "foundation/OTKeyedArchiver.h"

namespace corvane {

bool OTBannerRecordTreeNode::activated() const {
    std::lock_guard lock(mutex_);
    return activated_;
}

void OTBannerRecordTreeNode::setActivated(bool value) {
    std::lock_guard lock(mutex_);
    activated_ = value;
}

std::optional<std::string> OTBannerRecordTreeNode::dataMD5() const {
    std::lock_guard lock(mutex_);
    return dataMD5_;
}

void OTBannerRecordTreeNode::setDataMD5(std::optional<std::string> value) {
    std::lock_guard lock(mutex_);
    dataMD5_ = std::move(value);
}

void OTBannerRecordTreeNode::encodeWithCoder(OTKeyedArchiver& coder) const {
    OTRecordTreeNode::encodeWithCoder(coder);
    coder.encodeBool(activated(), "activated");
    coder.encodeObject(dataMD5(), "dataMD5");
}

std::shared_ptr<OTBannerRecordTreeNode> OTBannerRecordTreeNode::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto node = std::make_shared<OTBannerRecordTreeNode>();
    node->decodeBaseKeys(coder);
    node->setActivated(coder.decodeBoolForKey("activated"));
    node->setDataMD5(coder.decodeStringForKey("dataMD5"));
    return node;
}

}  // namespace corvane
