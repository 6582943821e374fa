#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "model/OTRuleClause.h"

namespace corvane {

// Decides one property predicate against one property value. Pure functions over a parsed clause:
// nothing is looked up by name, and "now" comes in as an argument. Five families, one per data type,
// each with its dispatcher and one operation per operator. The property value is passed as a
// pointer: null when the event does not have the property.
class OTRuleEvaluator final {
public:
    using Date = OTRuleClause::Date;
    using Operator = OTRuleClause::Operator;
    using Operands = OTRuleClause::Operands;

    static bool evaluate(const OTRuleClause& clause, const nlohmann::json* realValue, Date now);

    // Texts.
    static bool string_compareRule(Operator function, const Operands& ruleValue, const nlohmann::json* realValue);
    static bool string_compareEQ(const Operands& ruleValue, const std::optional<std::string>& realValue);
    static bool string_compareNOT_EQ(const Operands& ruleValue, const std::optional<std::string>& realValue);
    static bool string_compareCONTAIN(const Operands& ruleValue, const std::optional<std::string>& realValue);
    static bool string_compareNOT_CONTAIN(const Operands& ruleValue, const std::optional<std::string>& realValue);
    static bool string_compareNOT_NULL(const std::optional<std::string>& realValue);
    static bool string_compareNULL(const std::optional<std::string>& realValue);

    // Numbers.
    static bool number_compareRule(Operator function, const Operands& ruleValue, const nlohmann::json* realValue);
    static bool number_compareEQ(const Operands& ruleValue, const nlohmann::json& realValue);
    static bool number_compareNOT_EQ(const Operands& ruleValue, const nlohmann::json& realValue);
    static bool number_compareGT(const Operands& ruleValue, const nlohmann::json& realValue);
    static bool number_compareGTE(const Operands& ruleValue, const nlohmann::json& realValue);
    static bool number_compareLT(const Operands& ruleValue, const nlohmann::json& realValue);
    static bool number_compareLTE(const Operands& ruleValue, const nlohmann::json& realValue);
    static bool number_compareRANGE(const Operands& ruleValue, const nlohmann::json& realValue);
    static bool number_compareNOT_NULL(const nlohmann::json* realValue);
    static bool number_compareNULL(const nlohmann::json* realValue);

    // Booleans.
    static bool bool_compareRule(Operator function, const Operands& ruleValue, const nlohmann::json* realValue);
    static bool bool_compareTRUE(const Operands& ruleValue, bool realValue);
    static bool bool_compareFALSE(const Operands& ruleValue, bool realValue);
    static bool bool_compareNOT_NULL(bool realValue);
    static bool bool_compareNULL(bool realValue);

    // Date-times "yyyy-MM-dd HH:mm:ss".
    static bool date_compareRule(Operator function, const Operands& ruleValue, const nlohmann::json* realValue,
                                 Date now);
    static bool date_compareABSOLUTE_TIME(const Operands& ruleValue, const std::optional<Date>& realValue, Date now);
    static bool date_compareRELATIVE_TIME_RANGE_CUURENT(const Operands& ruleValue, const std::optional<Date>& realValue,
                                                        Date now);
    static bool date_compareRELATIVE_TIME_OF_CURRENT(const Operands& ruleValue, const std::optional<Date>& realValue,
                                                     Date now);
    static bool date_compareNOT_NULL(const std::optional<Date>& realValue);
    static bool date_compareNULL(const std::optional<Date>& realValue);

    // Lists of texts.
    static bool array_compareRule(Operator function, const Operands& ruleValue, const nlohmann::json* realValue);
    static bool array_compareEQ(const Operands& ruleValue, const nlohmann::json& realValue);
    static bool array_compareCONTAIN(const Operands& ruleValue, const nlohmann::json& realValue);
    static bool array_compareNOT_CONTAIN(const Operands& ruleValue, const nlohmann::json& realValue);
    static bool array_compareNOT_NULL(const nlohmann::json* realValue);
    static bool array_compareNULL(const nlohmann::json* realValue);
};

}  // namespace corvane
