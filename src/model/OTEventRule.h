#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "foundation/OTKeyedUnarchiver.h"
#include "model/OTDataModel.h"
#include "model/OTRuleClause.h"

namespace corvane {

class OTEvent;

// One property predicate of a trigger condition: the property `field` of the incoming event, its
// `dataType`, the operator `function` and the operand list `value`. The four fields keep what the
// server sent (archives and descriptions show it as it came) and are parsed once, when the rule is
// built or decoded, into the clause that evaluation reads. A rule does not change after that.
class OTEventRule final : public OTDataModel {
public:
    static constexpr const char* kArchiveClassName = "OTEventRule";

    void setModelWithDic(const nlohmann::json& dic) override;
    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTEventRule> initWithCoder(const OTKeyedUnarchiver& coder);

    bool compareRuleWithEvent(const OTEvent* incoming) const;
    std::string description() const;

    const OTRuleClause& clause() const { return clause_; }

    // Values as they came from JSON: texts normally, anything (null included) when the server says so.
    const nlohmann::json& field() const { return field_; }
    const nlohmann::json& dataType() const { return dataType_; }
    const nlohmann::json& function() const { return function_; }
    const nlohmann::json& value() const { return value_; }

private:
    void parse();

    nlohmann::json field_ = "";
    nlohmann::json dataType_ = "";
    nlohmann::json function_ = "";
    nlohmann::json value_ = nlohmann::json::array();
    OTRuleClause clause_;
};

}  // namespace corvane
