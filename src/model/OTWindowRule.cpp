#include "model/OTWindowRule.h"

#include <nlohmann/json.hpp>

#include "foundation/OTJSONValue.h"
#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTLogFormatter.h"

namespace corvane {

void OTWindowRule::setModelWithDic(const nlohmann::json& dic) {
    OTDataModel::setModelWithDic(dic);
    if (!dic.is_object()) return;
    if (dic.contains("eventType")) eventType_ = OTJSONValue::textAt(dic, "eventType");
    type_ = OTJSONValue::integerAt(dic, "type");
    count_ = type_ == 3 ? kUnlimited : OTJSONValue::integerAt(dic, "count");
    intervalValue_ = OTJSONValue::integerAt(dic, "intervalValue");
    const auto it = dic.find("intervalType");
    intervalType_ = it != dic.end() && it->is_string() ? it->get<std::string>() : std::string();
}

void OTWindowRule::encodeWithCoder(OTKeyedArchiver& coder) const {
    OTDataModel::encodeWithCoder(coder);
    coder.encodeInteger(type_, "type");
    coder.encodeInteger(count_, "count");
    coder.encodeInteger(intervalValue_, "intervalValue");
    coder.encodeObject(eventType_, "eventType");
    coder.encodeObject(intervalType_, "intervalType");
}

std::shared_ptr<OTWindowRule> OTWindowRule::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto rule = std::make_shared<OTWindowRule>();
    rule->type_ = coder.decodeIntegerForKey("type");
    rule->count_ = coder.decodeIntegerForKey("count");
    rule->intervalValue_ = coder.decodeIntegerForKey("intervalValue");
    rule->eventType_ = coder.decodeStringForKey("eventType");
    rule->intervalType_ = coder.decodeStringForKey("intervalType");
    return rule;
}

std::string OTWindowRule::description() const {
    const OTLogArgument arguments[] = {eventType_, type_, count_, intervalValue_, intervalType_};
    return OTLogFormatter::format("eventType:%@,type:%ld,count:%ld,intervalValue:%ld,intervalType:%@", arguments);
}

}  // namespace corvane
