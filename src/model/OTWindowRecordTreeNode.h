#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "model/OTRecordTreeNode.h"
#include "model/OTWindowRule.h"

namespace corvane {

// The usage record of one dialog campaign: its limit and counters, when it was last shown,
// whether it is armed for the current trigger or switched off, and the campaign's usage rules.
class OTWindowRecordTreeNode final : public OTRecordTreeNode {
public:
    using Date = std::chrono::system_clock::time_point;
    static constexpr const char* kArchiveClassName = "OTWindowRecordTreeNode";
    static constexpr std::int64_t kUnlimited = 4294967295;

    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTWindowRecordTreeNode> initWithCoder(const OTKeyedUnarchiver& coder);
    std::string description() const;

    // How many times the campaign may be shown; any value <= 0 is stored as unlimited.
    std::int64_t count() const;
    void setCount(std::int64_t value);
    // Times shown, never above `count`.
    std::int64_t usedCount() const;
    void setUsedCount(std::int64_t value);
    std::int64_t clickCount() const;
    void setClickCount(std::int64_t value);
    std::int64_t closeCount() const;
    void setCloseCount(std::int64_t value);
    bool activated() const;
    void setActivated(bool value);
    bool forbidden() const;
    void setForbidden(bool value);
    std::optional<Date> forbiddenStartTime() const;
    void setForbiddenStartTime(std::optional<Date> value);
    std::int64_t closeDialogType() const;
    void setCloseDialogType(std::int64_t value);
    std::shared_ptr<OTWindowRule> clickRule() const;
    void setClickRule(std::shared_ptr<OTWindowRule> value);
    std::shared_ptr<OTWindowRule> closeRule() const;
    void setCloseRule(std::shared_ptr<OTWindowRule> value);
    std::optional<Date> lastPopTime() const;
    void setLastPopTime(std::optional<Date> value);
    std::optional<std::string> lastEventType() const;
    void setLastEventType(std::optional<std::string> value);

private:
    std::int64_t count_ = 0;
    std::int64_t usedCount_ = 0;
    std::int64_t clickCount_ = 0;
    std::int64_t closeCount_ = 0;
    bool activated_ = false;
    bool forbidden_ = false;
    std::optional<Date> forbiddenStartTime_;
    std::int64_t closeDialogType_ = 0;
    std::shared_ptr<OTWindowRule> clickRule_;
    std::shared_ptr<OTWindowRule> closeRule_;
    std::optional<Date> lastPopTime_;
    std::optional<std::string> lastEventType_;
};

}  // namespace corvane
