#include "model/OTEventRule.h"

#include "foundation/OTDescription.h"
#include "foundation/OTKeyedArchiver.h"
#include "model/OTEvent.h"
#include "model/OTRuleEvaluator.h"
#include "platform/OTEnvironment.h"

namespace corvane {

void OTEventRule::setModelWithDic(const nlohmann::json& dic) {
    OTDataModel::setModelWithDic(dic);
    if (!dic.is_object()) return;
    field_ = dic.contains("field") ? dic["field"] : nlohmann::json("");
    dataType_ = dic.contains("dataType") ? dic["dataType"] : nlohmann::json("");
    function_ = dic.contains("function") ? dic["function"] : nlohmann::json("");
    value_ = dic.contains("value") ? dic["value"] : nlohmann::json::array();
    parse();
}

void OTEventRule::encodeWithCoder(OTKeyedArchiver& coder) const {
    OTDataModel::encodeWithCoder(coder);
    coder.encodeObject(field_, "field");
    coder.encodeObject(dataType_, "dataType");
    coder.encodeObject(function_, "function");
    coder.encodeObject(value_, "value");
}

std::shared_ptr<OTEventRule> OTEventRule::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto rule = std::make_shared<OTEventRule>();
    rule->field_ = coder.decodeJsonForKey("field").value_or("");
    rule->dataType_ = coder.decodeJsonForKey("dataType").value_or("");
    rule->function_ = coder.decodeJsonForKey("function").value_or("");
    rule->value_ = coder.decodeJsonForKey("value").value_or(nlohmann::json::array());
    rule->parse();
    return rule;
}

std::string OTEventRule::description() const {
    return "field:" + OTDescription::describe(field_) + ",dataType:" + OTDescription::describe(dataType_) +
           ",function:" + OTDescription::describe(function_) + ",value:" + OTDescription::describe(value_);
}

bool OTEventRule::compareRuleWithEvent(const OTEvent* incoming) const {
    if (incoming == nullptr || !incoming->xcontext().is_object()) return false;
    const nlohmann::json* realValue = nullptr;
    if (clause_.field) {
        const auto it = incoming->xcontext().find(*clause_.field);
        if (it != incoming->xcontext().end()) realValue = &*it;
    }
    // Only date-times read the clock.
    const auto now = clause_.dataType == OTRuleClause::DataType::Datetime ? OTEnvironment::current()->clock().now()
                                                                          : OTRuleClause::Date{};
    return OTRuleEvaluator::evaluate(clause_, realValue, now);
}

void OTEventRule::parse() { clause_ = OTRuleClause::parse(field_, dataType_, function_, value_); }

}  // namespace corvane
