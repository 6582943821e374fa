#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTCachedText.h"
#include "foundation/OTKeyedUnarchiver.h"
#include "model/OTDataModel.h"
#include "model/OTEventRule.h"

namespace corvane {

// An analytics event, and also a campaign's trigger condition: the incoming event is asked
// whether it `matches` a condition (same event name, then the condition's rules or properties).
class OTEvent final : public OTDataModel {
public:
    static constexpr const char* kArchiveClassName = "OTEvent";

    // How a condition's rules combine, read once from `relation`.
    enum class Relation : std::uint8_t { And, Or, Neither };

    void setModelWithDic(const nlohmann::json& dic) override;
    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTEvent> initWithCoder(const OTKeyedUnarchiver& coder);

    // Sent to the incoming event with the condition; a missing condition never matches.
    bool matches(const OTEvent* condition) const;
    bool matches(const std::shared_ptr<OTEvent>& condition) const { return matches(condition.get()); }
    bool matchXcontext(const OTEvent* condition) const;
    bool matchRules(const OTEvent* condition) const;
    // Why this event does not meet `condition`, tested in the order `matches` tests, without a
    // line of its logging: {"reason": "eventName", "expected", "actual"} or {"reason":
    // "propertyRule", "relation" (rules only), "field", "operator", "dataType", "expected",
    // "actual"} for the first clause or property that fails. Null when it does meet it.
    nlohmann::json mismatch(const OTEvent* condition) const;
    nlohmann::json toDictionary() const;
    std::string description() const { return keptDescription(); }
    // Worked out once: an event is logged for every campaign it is walked past.
    const std::string& keptDescription() const;

    const std::optional<std::string>& appid() const { return appid_; }
    void setAppid(std::optional<std::string> value) {
        appid_ = std::move(value);
        changed();
    }
    const std::optional<std::string>& xwhat() const { return xwhat_; }
    void setXwhat(std::optional<std::string> value) {
        xwhat_ = std::move(value);
        changed();
    }
    double xwhen() const { return xwhen_; }
    void setXwhen(double value) {
        xwhen_ = value;
        changed();
    }
    const std::optional<std::string>& xwho() const { return xwho_; }
    void setXwho(std::optional<std::string> value) {
        xwho_ = std::move(value);
        changed();
    }
    // The properties as they came (normally a dictionary); null when there are none.
    const nlohmann::json& xcontext() const { return xcontext_; }
    void setXcontext(nlohmann::json value) {
        xcontext_ = std::move(value);
        changed();
    }
    std::int64_t count() const { return count_; }
    void setCount(std::int64_t value) {
        count_ = value;
        changed();
    }
    float delay() const { return delay_; }
    void setDelay(float value) {
        delay_ = value;
        changed();
    }
    const std::optional<std::string>& relation() const { return relation_; }
    void setRelation(std::optional<std::string> value);
    const std::vector<std::shared_ptr<OTEventRule>>& rules() const { return rules_; }
    void setRules(std::vector<std::shared_ptr<OTEventRule>> value) {
        rules_ = std::move(value);
        changed();
    }
    bool available() const { return available_; }
    void setAvailable(bool value) {
        available_ = value;
        changed();
    }

private:
    // A condition's property that the event lacks or holds with another value.
    struct PropertyDifference {
        std::string key;
        const nlohmann::json* expected;  // each null when absent
        const nlohmann::json* actual;
    };
    std::optional<PropertyDifference> firstDifferingProperty(const OTEvent& condition) const;
    long passingRules(const OTEvent& condition) const;
    bool matchRulesQuietly(const OTEvent& condition) const;
    std::string makeDescription() const;
    const std::string& rulesDescription() const;
    void changed();

    std::optional<std::string> appid_;
    std::optional<std::string> xwhat_;
    double xwhen_ = 0;
    std::optional<std::string> xwho_;
    nlohmann::json xcontext_;
    std::int64_t count_ = 0;
    float delay_ = 0;
    std::optional<std::string> relation_;
    Relation relationKind_ = Relation::Neither;
    std::vector<std::shared_ptr<OTEventRule>> rules_;
    bool available_ = false;
    OTCachedText description_;
    OTCachedText rulesDescription_;
};

}  // namespace corvane
