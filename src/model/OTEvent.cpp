#include "model/OTEvent.h"

#include "foundation/OTDescription.h"
#include "foundation/OTJSONValue.h"
#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTLogFormatter.h"
#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"

namespace corvane {

namespace {
// Debug lines of matching go to the platform console, not to the logger.
template <class... Args>
void console(const char* format, const Args&... args) {
    const OTLogArgument arguments[] = {OTLogArgument(args)..., OTLogArgument(nullptr)};
    OTEnvironment::current()->console().print(
        OTLogFormatter::format(format, std::span<const OTLogArgument>(arguments, sizeof...(Args))));
}

// A key present with a non-null value.
const nlohmann::json* present(const nlohmann::json& dic, const char* key) {
    const auto it = dic.find(key);
    return it == dic.end() || it->is_null() ? nullptr : &*it;
}

// One property pair of matchXcontext: texts equal exactly, numbers (booleans too) numerically.
bool sameProperty(const nlohmann::json& value, const nlohmann::json* other) {
    if (other == nullptr) return false;
    if (value.is_string() && other->is_string()) return value == *other;
    return OTJSONValue::numbersEqual(value, *other);
}
}  // namespace

void OTEvent::setModelWithDic(const nlohmann::json& dic) {
    OTDataModel::setModelWithDic(dic);
    changed();
    if (!dic.is_object()) {
        available_ = false;
        return;
    }
    available_ = true;
    appid_ = OTJSONValue::textAt(dic, "appid");
    xwhat_ = OTJSONValue::textAt(dic, "xwhat");
    xwho_ = OTJSONValue::textAt(dic, "xwho");
    const auto* when = present(dic, "xwhen");
    xwhen_ = when != nullptr ? OTJSONValue::doubleValue(*when).value_or(0) : 0;
    const auto* context = present(dic, "xcontext");
    xcontext_ = context != nullptr ? *context : nlohmann::json();
    const auto* count = present(dic, "count");
    count_ = count != nullptr ? OTJSONValue::integerValue(*count).value_or(1) : 1;
    const auto* delay = present(dic, "delay");
    delay_ =
        delay != nullptr ? OTJSONValue::floatValue(OTJSONValue::doubleValue(*delay).value_or(0)).value_or(0) : 0.0f;
    const auto* relation = present(dic, "relation");
    setRelation(relation != nullptr ? OTJSONValue::text(*relation) : std::optional<std::string>("AND"));
    rules_.clear();
    if (const auto it = dic.find("rule"); it != dic.end() && it->is_array()) {
        for (const auto& element : *it) {
            auto rule = std::make_shared<OTEventRule>();
            rule->setModelWithDic(element);
            rules_.push_back(std::move(rule));
        }
    }
}

void OTEvent::changed() {
    description_.reset();
    rulesDescription_.reset();
}

void OTEvent::setRelation(std::optional<std::string> value) {
    changed();
    relation_ = std::move(value);
    if (relation_ == "AND") relationKind_ = Relation::And;
    else if (relation_ == "OR") relationKind_ = Relation::Or;
    else relationKind_ = Relation::Neither;
}

const std::string& OTEvent::rulesDescription() const {
    return rulesDescription_.get([this] {
        nlohmann::json list = nlohmann::json::array();
        for (const auto& rule : rules_) list.push_back(rule ? rule->description() : std::string("(null)"));
        return OTDescription::describe(list);
    });
}

bool OTEvent::matches(const OTEvent* condition) const {
    const bool conditionAvailable = condition != nullptr && condition->available_;
    console("matches:%d,event->available:%d", available_, conditionAvailable);
    console("matches->xwhat:%@,event->xwhat:%@", xwhat_, condition != nullptr ? condition->xwhat_ : std::nullopt);
    console("matches->rules:%@",
            condition != nullptr ? OTLogArgument(condition->rulesDescription()) : OTLogArgument(nullptr));
    if (!available_ || !conditionAvailable || xwhat_ != condition->xwhat_) return false;
    if (!condition->rules_.empty()) {
        console("matches->OT_ArrayNotEmpty");
        return matchRules(condition);
    }
    console("matches->matchXcontext");
    return matchXcontext(condition);
}

bool OTEvent::matchRules(const OTEvent* condition) const {
    if (condition == nullptr || condition->rules_.empty()) return false;
    if (relationKind_ != Relation::And) return matchRulesQuietly(*condition);
    const long passing = passingRules(*condition);
    const long count = static_cast<long>(condition->rules_.size());
    console("matchRules->matchCount:%ld,count:%ld", passing, count);
    return passing == count;
}

long OTEvent::passingRules(const OTEvent& condition) const {
    long passing = 0;
    for (const auto& rule : condition.rules_) {
        if (rule && rule->compareRuleWithEvent(this)) ++passing;
    }
    return passing;
}

bool OTEvent::matchRulesQuietly(const OTEvent& condition) const {
    // The incoming event's own relation decides how the condition's rules combine.
    switch (relationKind_) {
        case Relation::And: return passingRules(condition) == static_cast<long>(condition.rules_.size());
        case Relation::Or:
            for (const auto& rule : condition.rules_) {
                if (rule && rule->compareRuleWithEvent(this)) return true;
            }
            return false;
        case Relation::Neither: return false;
    }
    return false;
}

bool OTEvent::matchXcontext(const OTEvent* condition) const {
    if (!xcontext_.is_object() || condition == nullptr || condition->xcontext_.is_null()) return true;
    if (!condition->xcontext_.is_object()) return true;
    console("matchXcontext:self->%@ ;event->%@", xcontext_, condition->xcontext_);
    const bool result = !firstDifferingProperty(*condition);
    console("matchXcontext->endMatch:%d", result);
    return result;
}

std::optional<OTEvent::PropertyDifference> OTEvent::firstDifferingProperty(const OTEvent& condition) const {
    const auto differs = [](const std::string& key, const nlohmann::json& value, const nlohmann::json& other,
                            const std::string& otherKey) -> std::optional<PropertyDifference> {
        const auto it = other.find(otherKey);
        const auto* found = it != other.end() ? &*it : nullptr;
        if (sameProperty(value, found)) return std::nullopt;
        return PropertyDifference{key, &value, found};
    };
    if (xcontext_.size() >= condition.xcontext_.size()) {
        // The usual case, an event with more properties: the condition's keys ignore letter case.
        for (const auto& [key, value] : condition.xcontext_.items()) {
            if (auto difference = differs(key, value, xcontext_, OTText::lowercase(key))) return difference;
        }
    } else {
        for (const auto& [key, value] : xcontext_.items()) {
            if (auto difference = differs(key, value, condition.xcontext_, key)) {
                // Here the event's own value is the one looked up in the condition.
                std::swap(difference->expected, difference->actual);
                return difference;
            }
        }
    }
    return std::nullopt;
}

nlohmann::json OTEvent::mismatch(const OTEvent* condition) const {
    const auto text = [](const std::optional<std::string>& value) {
        return value ? nlohmann::json(*value) : nlohmann::json();
    };
    // Built name by name, not from an initializer list, which copies every value twice: a
    // listened walk explains every campaign it passes over.
    nlohmann::json reason = nlohmann::json::object();
    const bool conditionAvailable = condition != nullptr && condition->available_;
    if (!available_ || !conditionAvailable || xwhat_ != condition->xwhat_) {
        reason["reason"] = "eventName";
        reason["expected"] = conditionAvailable ? text(condition->xwhat_) : nlohmann::json();
        reason["actual"] = text(xwhat_);
        return reason;
    }
    if (!condition->rules_.empty()) {
        if (matchRulesQuietly(*condition)) return nullptr;
        // The first clause that fails decides: under AND it alone sinks the condition; under OR every
        // clause failed, the first among them.
        std::shared_ptr<OTEventRule> failing;
        for (const auto& rule : condition->rules_) {
            if (!rule || !rule->compareRuleWithEvent(this)) {
                failing = rule;
                break;
            }
        }
        reason["reason"] = "propertyRule";
        reason["relation"] = text(relation_);
        if (failing) {
            const auto& field = failing->field();
            reason["field"] = field;
            reason["operator"] = failing->function();
            reason["dataType"] = failing->dataType();
            reason["expected"] = failing->value();
            const auto actual =
                field.is_string() && xcontext_.is_object() ? xcontext_.find(field.get<std::string>()) : xcontext_.end();
            reason["actual"] = xcontext_.is_object() && actual != xcontext_.end() ? *actual : nlohmann::json();
        }
        return reason;
    }
    if (!xcontext_.is_object() || condition->xcontext_.is_null() || !condition->xcontext_.is_object()) return nullptr;
    const auto difference = firstDifferingProperty(*condition);
    if (!difference) return nullptr;
    reason["reason"] = "propertyRule";
    reason["field"] = difference->key;
    reason["operator"] = "EQ";
    reason["dataType"] = nullptr;
    reason["expected"] = difference->expected != nullptr ? *difference->expected : nlohmann::json();
    reason["actual"] = difference->actual != nullptr ? *difference->actual : nlohmann::json();
    return reason;
}

nlohmann::json OTEvent::toDictionary() const {
    return nlohmann::json{
        {"appid", appid_.value_or("")},
        {"xwho", xwho_.value_or("")},
        {"xwhat", xwhat_.value_or("")},
        {"xwhen", xwhen_},
        {"xcontext", xcontext_.is_null() ? nlohmann::json::object() : xcontext_},
        {"count", count_ == 0 ? 1 : count_},
        {"delay", static_cast<double>(delay_)},
    };
}

const std::string& OTEvent::keptDescription() const {
    return description_.get([this] { return makeDescription(); });
}

std::string OTEvent::makeDescription() const {
    const OTLogArgument arguments[] = {appid_,
                                       xwhat_,
                                       xwhen_,
                                       xwho_,
                                       xcontext_.is_null() ? OTLogArgument(nullptr) : OTLogArgument(xcontext_),
                                       count_,
                                       static_cast<double>(delay_),
                                       relation_,
                                       OTLogArgument(rulesDescription()),
                                       available_};
    return OTLogFormatter::format(
        "appid:%@,xwhat:%@,xwhen:%f,xwho:%@,xcontext:%@,count:%lf,delay:%f,relation:%@,rules:%@,available:%d",
        arguments);
}

void OTEvent::encodeWithCoder(OTKeyedArchiver& coder) const {
    OTDataModel::encodeWithCoder(coder);
    coder.encodeBool(available_, "available");
    coder.encodeObject(appid_, "appid");
    coder.encodeObject(xwho_, "xwho");
    coder.encodeObject(xwhat_, "xwhat");
    coder.encodeDouble(xwhen_, "xwhen");
    if (!xcontext_.is_null()) coder.encodeObject(xcontext_, "xcontext");
    coder.encodeInteger(count_, "count");
    coder.encodeFloat(delay_, "delay");
    coder.encodeObject(relation_, "relation");
    coder.encodeObjects(rules_, "rules");
}

std::shared_ptr<OTEvent> OTEvent::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto event = std::make_shared<OTEvent>();
    event->available_ = coder.decodeBoolForKey("available");
    event->appid_ = coder.decodeStringForKey("appid");
    event->xwho_ = coder.decodeStringForKey("xwho");
    event->xwhat_ = coder.decodeStringForKey("xwhat");
    event->xwhen_ = coder.decodeDoubleForKey("xwhen");
    event->xcontext_ = coder.decodeJsonForKey("xcontext").value_or(nullptr);
    event->count_ = coder.decodeIntegerForKey("count");
    if (event->count_ == 0) event->count_ = 1;
    event->delay_ = coder.decodeFloatForKey("delay");
    event->setRelation(coder.decodeStringForKey("relation"));
    event->rules_ =
        coder.decodeArrayOfObjectsOfClass<OTEventRule>("rules").value_or(std::vector<std::shared_ptr<OTEventRule>>{});
    return event;
}

}  // namespace corvane
