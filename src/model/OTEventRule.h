#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "model/OTDataModel.h"
#include "platform/formats/OTKeyedUnarchiver.h"

namespace corvane {

class OTEvent;

// Whether an operand text is a number the way the platform's text scanner reads one: an integer,
// then (from where the integer stopped) a floating number, with blanks allowed around. "1.5" and
// ".5" are numbers; "1e5" and "12abc" are not. Anything but a text is not.
bool OTStringIsNumber(const nlohmann::json& text);

// One property predicate of a trigger condition: the property `field` of the incoming event, its
// `dataType`, the operator `function` and the operand list `value`. Five families of operators,
// one per data type, each with its dispatcher and one operation per operator. The property value
// is passed as a pointer: null when the event does not have the property.
class OTEventRule final : public OTDataModel {
public:
    static constexpr const char* kArchiveClassName = "OTEventRule";

    void setModelWithDic(const nlohmann::json& dic) override;
    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTEventRule> initWithCoder(const OTKeyedUnarchiver& coder);

    bool compareRuleWithEvent(const OTEvent* incoming) const;
    std::string description() const;

    // Values as they came from JSON: texts normally, anything (null included) when the server says so.
    const nlohmann::json& field() const { return field_; }
    void setField(nlohmann::json value) { field_ = std::move(value); }
    const nlohmann::json& dataType() const { return dataType_; }
    void setDataType(nlohmann::json value) { dataType_ = std::move(value); }
    const nlohmann::json& function() const { return function_; }
    void setFunction(nlohmann::json value) { function_ = std::move(value); }
    const nlohmann::json& value() const { return value_; }
    void setValue(nlohmann::json value) { value_ = std::move(value); }

    // Texts.
    bool string_compareRule(const std::string& function, const nlohmann::json& ruleValue,
                            const nlohmann::json* realValue) const;
    bool string_compareEQ(const nlohmann::json& ruleValue, const std::optional<std::string>& realValue) const;
    bool string_compareNOT_EQ(const nlohmann::json& ruleValue, const std::optional<std::string>& realValue) const;
    bool string_compareCONTAIN(const nlohmann::json& ruleValue, const std::optional<std::string>& realValue) const;
    bool string_compareNOT_CONTAIN(const nlohmann::json& ruleValue, const std::optional<std::string>& realValue) const;
    bool string_compareNOT_NULL(const std::optional<std::string>& realValue) const;
    bool string_compareNULL(const std::optional<std::string>& realValue) const;

    // Numbers.
    bool number_compareRule(const std::string& function, const nlohmann::json& ruleValue,
                            const nlohmann::json* realValue) const;
    bool number_compareEQ(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const;
    bool number_compareNOT_EQ(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const;
    bool number_compareGT(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const;
    bool number_compareGTE(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const;
    bool number_compareLT(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const;
    bool number_compareLTE(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const;
    bool number_compareRANGE(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const;
    bool number_compareNOT_NULL(const nlohmann::json* realValue) const;
    bool number_compareNULL(const nlohmann::json* realValue) const;

    // Booleans.
    bool bool_compareRule(const std::string& function, const nlohmann::json& ruleValue,
                          const nlohmann::json* realValue) const;
    bool bool_compareTRUE(const nlohmann::json& ruleValue, bool realValue) const;
    bool bool_compareFALSE(const nlohmann::json& ruleValue, bool realValue) const;
    bool bool_compareNOT_NULL(bool realValue) const;
    bool bool_compareNULL(bool realValue) const;

    // Date-times "yyyy-MM-dd HH:mm:ss".
    using Date = std::chrono::system_clock::time_point;
    bool date_compareRule(const std::string& function, const nlohmann::json& ruleValue,
                          const nlohmann::json* realValue) const;
    bool date_compareABSOLUTE_TIME(const nlohmann::json& ruleValue, const std::optional<Date>& realValue) const;
    bool date_compareRELATIVE_TIME_RANGE_CUURENT(const nlohmann::json& ruleValue,
                                                 const std::optional<Date>& realValue) const;
    bool date_compareRELATIVE_TIME_OF_CURRENT(const nlohmann::json& ruleValue,
                                              const std::optional<Date>& realValue) const;
    bool date_compareNOT_NULL(const std::optional<Date>& realValue) const;
    bool date_compareNULL(const std::optional<Date>& realValue) const;

    // Lists of texts.
    bool array_compareRule(const std::string& function, const nlohmann::json& ruleValue,
                           const nlohmann::json* realValue) const;
    bool array_compareEQ(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const;
    bool array_compareCONTAIN(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const;
    bool array_compareNOT_CONTAIN(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const;
    bool array_compareNOT_NULL(const nlohmann::json* realValue) const;
    bool array_compareNULL(const nlohmann::json* realValue) const;

private:
    // Whether some element of the property list equals the first operand; nothing when malformed.
    std::optional<bool> arrayContains(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const;
    // The first operand as a number, when it is a number text.
    static std::optional<double> numberOperand(const nlohmann::json& ruleValue, std::size_t index);

    nlohmann::json field_ = "";
    nlohmann::json dataType_ = "";
    nlohmann::json function_ = "";
    nlohmann::json value_ = nlohmann::json::array();
};

}  // namespace corvane
