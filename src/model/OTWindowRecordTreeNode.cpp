#include "model/OTWindowRecordTreeNode.h"

#include <algorithm>

#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTLogFormatter.h"

namespace corvane {

std::int64_t OTWindowRecordTreeNode::count() const {
    std::lock_guard lock(mutex_);
    return count_;
}

void OTWindowRecordTreeNode::setCount(std::int64_t value) {
    std::lock_guard lock(mutex_);
    count_ = value <= 0 ? kUnlimited : value;
}

std::int64_t OTWindowRecordTreeNode::usedCount() const {
    std::lock_guard lock(mutex_);
    return usedCount_;
}

void OTWindowRecordTreeNode::setUsedCount(std::int64_t value) {
    std::lock_guard lock(mutex_);
    usedCount_ = std::min(value, count_);
}

std::int64_t OTWindowRecordTreeNode::clickCount() const {
    std::lock_guard lock(mutex_);
    return clickCount_;
}

void OTWindowRecordTreeNode::setClickCount(std::int64_t value) {
    std::lock_guard lock(mutex_);
    clickCount_ = value;
}

std::int64_t OTWindowRecordTreeNode::closeCount() const {
    std::lock_guard lock(mutex_);
    return closeCount_;
}

void OTWindowRecordTreeNode::setCloseCount(std::int64_t value) {
    std::lock_guard lock(mutex_);
    closeCount_ = value;
}

bool OTWindowRecordTreeNode::activated() const {
    std::lock_guard lock(mutex_);
    return activated_;
}

void OTWindowRecordTreeNode::setActivated(bool value) {
    std::lock_guard lock(mutex_);
    activated_ = value;
}

bool OTWindowRecordTreeNode::forbidden() const {
    std::lock_guard lock(mutex_);
    return forbidden_;
}

void OTWindowRecordTreeNode::setForbidden(bool value) {
    std::lock_guard lock(mutex_);
    forbidden_ = value;
}

std::optional<OTWindowRecordTreeNode::Date> OTWindowRecordTreeNode::forbiddenStartTime() const {
    std::lock_guard lock(mutex_);
    return forbiddenStartTime_;
}

void OTWindowRecordTreeNode::setForbiddenStartTime(std::optional<Date> value) {
    std::lock_guard lock(mutex_);
    forbiddenStartTime_ = value;
}

std::int64_t OTWindowRecordTreeNode::closeDialogType() const {
    std::lock_guard lock(mutex_);
    return closeDialogType_;
}

void OTWindowRecordTreeNode::setCloseDialogType(std::int64_t value) {
    std::lock_guard lock(mutex_);
    closeDialogType_ = value;
}

std::shared_ptr<OTWindowRule> OTWindowRecordTreeNode::clickRule() const {
    std::lock_guard lock(mutex_);
    return clickRule_;
}

void OTWindowRecordTreeNode::setClickRule(std::shared_ptr<OTWindowRule> value) {
    std::lock_guard lock(mutex_);
    clickRule_ = std::move(value);
}

std::shared_ptr<OTWindowRule> OTWindowRecordTreeNode::closeRule() const {
    std::lock_guard lock(mutex_);
    return closeRule_;
}

void OTWindowRecordTreeNode::setCloseRule(std::shared_ptr<OTWindowRule> value) {
    std::lock_guard lock(mutex_);
    closeRule_ = std::move(value);
}

std::optional<OTWindowRecordTreeNode::Date> OTWindowRecordTreeNode::lastPopTime() const {
    std::lock_guard lock(mutex_);
    return lastPopTime_;
}

void OTWindowRecordTreeNode::setLastPopTime(std::optional<Date> value) {
    std::lock_guard lock(mutex_);
    lastPopTime_ = value;
}

std::optional<std::string> OTWindowRecordTreeNode::lastEventType() const {
    std::lock_guard lock(mutex_);
    return lastEventType_;
}

void OTWindowRecordTreeNode::setLastEventType(std::optional<std::string> value) {
    std::lock_guard lock(mutex_);
    lastEventType_ = std::move(value);
}

void OTWindowRecordTreeNode::encodeWithCoder(OTKeyedArchiver& coder) const {
    OTRecordTreeNode::encodeWithCoder(coder);
    coder.encodeInteger(count(), "count");
    coder.encodeInteger(usedCount(), "usedCount");
    coder.encodeBool(activated(), "activated");
    coder.encodeBool(forbidden(), "forbidden");
    coder.encodeDate(forbiddenStartTime(), "forbiddenStartTime");
    coder.encodeInteger(closeDialogType(), "closeDialogType");
    coder.encodeObject(std::shared_ptr<const OTCoding>(clickRule()), "clickRule");
    coder.encodeObject(std::shared_ptr<const OTCoding>(closeRule()), "closeRule");
    coder.encodeDate(lastPopTime(), "lastPopTime");
    coder.encodeInteger(clickCount(), "clickCount");
    coder.encodeInteger(closeCount(), "closeCount");
    coder.encodeObject(lastEventType(), "lastEventType");
}

std::shared_ptr<OTWindowRecordTreeNode> OTWindowRecordTreeNode::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto node = std::make_shared<OTWindowRecordTreeNode>();
    node->decodeBaseKeys(coder);
    node->setCount(coder.decodeIntegerForKey("count"));
    node->setUsedCount(coder.decodeIntegerForKey("usedCount"));
    node->setActivated(coder.decodeBoolForKey("activated"));
    node->setForbidden(coder.decodeBoolForKey("forbidden"));
    node->setForbiddenStartTime(coder.decodeDateForKey("forbiddenStartTime"));
    node->setCloseDialogType(coder.decodeIntegerForKey("closeDialogType"));
    node->setClickRule(coder.decodeObjectOfClass<OTWindowRule>("clickRule"));
    node->setCloseRule(coder.decodeObjectOfClass<OTWindowRule>("closeRule"));
    node->setLastPopTime(coder.decodeDateForKey("lastPopTime"));
    node->setClickCount(coder.decodeIntegerForKey("clickCount"));
    node->setCloseCount(coder.decodeIntegerForKey("closeCount"));
    node->setLastEventType(coder.decodeStringForKey("lastEventType"));
    return node;
}

std::string OTWindowRecordTreeNode::description() const {
    const auto click = clickRule();
    const auto close = closeRule();
    const auto popped = lastPopTime();
    const OTLogArgument arguments[] = {count(),
                                       usedCount(),
                                       clickCount(),
                                       closeCount(),
                                       closeDialogType(),
                                       click ? click->description() : std::optional<std::string>(),
                                       close ? close->description() : std::optional<std::string>(),
                                       popped ? OTLogArgument(*popped) : OTLogArgument(nullptr),
                                       lastEventType()};
    return OTLogFormatter::format(
        "count:%ld,usedCount:%ld,clickCount:%ld,closeCount:%ld,closeDialogType:%ld,clickRule:%@,closeRule:%@,"
        "lastPopTime:%@,lastEventType:%@",
        arguments);
}

}  // namespace corvane
