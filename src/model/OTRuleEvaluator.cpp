#include "model/OTRuleEvaluator.h"

#include "foundation/OTDescription.h"
#include "foundation/OTJSONValue.h"
#include "foundation/OTText.h"
#include "services/OTUtils.h"

namespace corvane {

namespace {
using Operator = OTRuleClause::Operator;
using Operands = OTRuleClause::Operands;
using Date = OTRuleClause::Date;

bool absent(const nlohmann::json* value) { return value == nullptr || value->is_null(); }

// The text form of a property: texts as they are, numbers (booleans included) as their decimal
// text; nothing for null, lists and dictionaries.
std::optional<std::string> textForm(const nlohmann::json* value) {
    if (value == nullptr) return std::nullopt;
    if (value->is_string()) return value->get<std::string>();
    if (value->is_number() || value->is_boolean()) return OTDescription::numberText(*value);
    return std::nullopt;
}

bool isNonEmptyList(const nlohmann::json& value) { return value.is_array() && !value.empty(); }

// The boolean reading of a text: blanks, an optional sign and zeros skipped, then Y, y, T, t or 1-9.
bool textBoolValue(const std::string& text) {
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r'))) ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    while (i < text.size() && text[i] == '0') ++i;
    if (i >= text.size()) return false;
    const char c = text[i];
    return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

// Operand and property texts when both are usable.
std::optional<std::pair<std::string, std::string>> textOperands(const Operands& ruleValue,
                                                                const std::optional<std::string>& realValue) {
    if (!ruleValue.text || ruleValue.text->empty() || !realValue || realValue->empty()) return std::nullopt;
    return std::make_pair(*ruleValue.text, *realValue);
}

bool containsIgnoringCase(const std::string& text, const std::string& part) {
    return OTText::lowercase(text).find(OTText::lowercase(part)) != std::string::npos;
}

// Property and one operand as numbers when both are usable.
std::optional<std::pair<double, double>> numberOperands(const Operands& ruleValue, const nlohmann::json& realValue,
                                                        std::size_t index = 0) {
    const auto property = OTJSONValue::number(realValue);
    const auto& operand = ruleValue.numbers[index];
    if (ruleValue.count == 0 || !property || !operand) return std::nullopt;
    return std::make_pair(*property, *operand);
}

// amount × unit seconds, held within ±100 years: now ± the span must stay within the clock's
// nanosecond range (±292 years around 1970).
std::chrono::seconds span(std::int64_t amount, std::int64_t unitSeconds) {
    constexpr std::int64_t kLimit = 100LL * 365 * 86400;
    const std::int64_t most = kLimit / unitSeconds;
    if (amount > most) return std::chrono::seconds(kLimit);
    if (amount < -most) return std::chrono::seconds(-kLimit);
    return std::chrono::seconds(amount * unitSeconds);
}

// Whether some element of the property list equals the first operand; nothing when malformed.
std::optional<bool> arrayContains(const Operands& ruleValue, const nlohmann::json& realValue) {
    if (ruleValue.count == 0 || !isNonEmptyList(realValue) || ruleValue.first.is_null()) return std::nullopt;
    const auto& p = realValue.front();
    const bool pNumber = OTJSONValue::number(p).has_value();
    if (!pNumber && !p.is_string()) return std::nullopt;
    const std::string& wanted = *ruleValue.text;
    for (const auto& element : realValue) {
        const auto text = textForm(&element);
        if (!text) continue;
        // Number properties compare decimal texts exactly; text properties ignore letter case.
        if (pNumber ? *text == wanted : (element.is_string() && OTText::equalsIgnoringCase(*text, wanted))) {
            return true;
        }
    }
    return false;
}
}  // namespace

bool OTRuleEvaluator::evaluate(const OTRuleClause& clause, const nlohmann::json* realValue, Date now) {
    switch (clause.dataType) {
        case OTRuleClause::DataType::String: return string_compareRule(clause.op, clause.operands, realValue);
        case OTRuleClause::DataType::Number: return number_compareRule(clause.op, clause.operands, realValue);
        case OTRuleClause::DataType::Boolean: return bool_compareRule(clause.op, clause.operands, realValue);
        case OTRuleClause::DataType::Datetime: return date_compareRule(clause.op, clause.operands, realValue, now);
        case OTRuleClause::DataType::StringArray: return array_compareRule(clause.op, clause.operands, realValue);
        case OTRuleClause::DataType::Unknown: break;
    }
    return false;
}

// ---- Texts ----

bool OTRuleEvaluator::string_compareRule(Operator function, const Operands& ruleValue,
                                         const nlohmann::json* realValue) {
    const auto text = textForm(realValue);
    if (function == Operator::NotNull) return string_compareNOT_NULL(text);
    if (function == Operator::Null) return string_compareNULL(text);
    if (absent(realValue)) return false;
    switch (function) {
        case Operator::Eq: return string_compareEQ(ruleValue, text);
        case Operator::NotEq: return string_compareNOT_EQ(ruleValue, text);
        case Operator::Contain: return string_compareCONTAIN(ruleValue, text);
        case Operator::NotContain: return string_compareNOT_CONTAIN(ruleValue, text);
        default: return false;
    }
}

bool OTRuleEvaluator::string_compareEQ(const Operands& ruleValue, const std::optional<std::string>& realValue) {
    const auto texts = textOperands(ruleValue, realValue);
    return texts && OTText::equalsIgnoringCase(texts->second, texts->first);
}

bool OTRuleEvaluator::string_compareNOT_EQ(const Operands& ruleValue, const std::optional<std::string>& realValue) {
    const auto texts = textOperands(ruleValue, realValue);
    return !texts || !OTText::equalsIgnoringCase(texts->second, texts->first);
}

bool OTRuleEvaluator::string_compareCONTAIN(const Operands& ruleValue, const std::optional<std::string>& realValue) {
    const auto texts = textOperands(ruleValue, realValue);
    return texts && containsIgnoringCase(texts->second, texts->first);
}

bool OTRuleEvaluator::string_compareNOT_CONTAIN(const Operands& ruleValue,
                                                const std::optional<std::string>& realValue) {
    const auto texts = textOperands(ruleValue, realValue);
    return !texts || !containsIgnoringCase(texts->second, texts->first);
}

bool OTRuleEvaluator::string_compareNOT_NULL(const std::optional<std::string>& realValue) {
    return realValue && !realValue->empty();
}

bool OTRuleEvaluator::string_compareNULL(const std::optional<std::string>& realValue) {
    return !string_compareNOT_NULL(realValue);
}

// ---- Numbers ----

bool OTRuleEvaluator::number_compareRule(Operator function, const Operands& ruleValue,
                                         const nlohmann::json* realValue) {
    if (function == Operator::NotNull) return number_compareNOT_NULL(realValue);
    if (function == Operator::Null) return number_compareNULL(realValue);
    if (absent(realValue)) return false;
    switch (function) {
        case Operator::Eq: return number_compareEQ(ruleValue, *realValue);
        case Operator::NotEq: return number_compareNOT_EQ(ruleValue, *realValue);
        case Operator::Gt: return number_compareGT(ruleValue, *realValue);
        case Operator::Gte: return number_compareGTE(ruleValue, *realValue);
        case Operator::Lt: return number_compareLT(ruleValue, *realValue);
        case Operator::Lte: return number_compareLTE(ruleValue, *realValue);
        case Operator::Range: return number_compareRANGE(ruleValue, *realValue);
        default: return false;
    }
}

bool OTRuleEvaluator::number_compareEQ(const Operands& ruleValue, const nlohmann::json& realValue) {
    const auto n = numberOperands(ruleValue, realValue);
    return n && n->first == n->second;
}

bool OTRuleEvaluator::number_compareNOT_EQ(const Operands& ruleValue, const nlohmann::json& realValue) {
    const auto n = numberOperands(ruleValue, realValue);
    return !n || n->first != n->second;
}

bool OTRuleEvaluator::number_compareGT(const Operands& ruleValue, const nlohmann::json& realValue) {
    const auto n = numberOperands(ruleValue, realValue);
    return n && n->first > n->second;
}

bool OTRuleEvaluator::number_compareGTE(const Operands& ruleValue, const nlohmann::json& realValue) {
    const auto n = numberOperands(ruleValue, realValue);
    return n && n->first >= n->second;
}

bool OTRuleEvaluator::number_compareLT(const Operands& ruleValue, const nlohmann::json& realValue) {
    const auto n = numberOperands(ruleValue, realValue);
    return n && n->first < n->second;
}

bool OTRuleEvaluator::number_compareLTE(const Operands& ruleValue, const nlohmann::json& realValue) {
    const auto n = numberOperands(ruleValue, realValue);
    return n && n->first <= n->second;
}

bool OTRuleEvaluator::number_compareRANGE(const Operands& ruleValue, const nlohmann::json& realValue) {
    const auto low = numberOperands(ruleValue, realValue, 0);
    const auto high = numberOperands(ruleValue, realValue, 1);
    return low && high && low->second <= low->first && high->first <= high->second;
}

bool OTRuleEvaluator::number_compareNOT_NULL(const nlohmann::json* realValue) { return realValue != nullptr; }

bool OTRuleEvaluator::number_compareNULL(const nlohmann::json* realValue) { return realValue == nullptr; }

// ---- Booleans ----

bool OTRuleEvaluator::bool_compareRule(Operator function, const Operands& ruleValue, const nlohmann::json* realValue) {
    bool reading = false;
    if (realValue != nullptr) {
        if (auto n = OTJSONValue::number(*realValue)) reading = *n != 0;
        else if (realValue->is_string()) reading = textBoolValue(realValue->get_ref<const std::string&>());
    }
    if (function == Operator::NotNull) return bool_compareNOT_NULL(reading);
    if (function == Operator::Null) return bool_compareNULL(reading);
    if (absent(realValue)) return false;
    if (function == Operator::True) return bool_compareTRUE(ruleValue, reading);
    if (function == Operator::False) return bool_compareFALSE(ruleValue, reading);
    return false;
}

bool OTRuleEvaluator::bool_compareTRUE(const Operands&, bool realValue) { return realValue; }

bool OTRuleEvaluator::bool_compareFALSE(const Operands&, bool realValue) { return !realValue; }

// A boolean reading is never null: the two null tests are constants.
bool OTRuleEvaluator::bool_compareNOT_NULL(bool) { return true; }

bool OTRuleEvaluator::bool_compareNULL(bool) { return false; }

// ---- Date-times ----

bool OTRuleEvaluator::date_compareRule(Operator function, const Operands& ruleValue, const nlohmann::json* realValue,
                                       Date now) {
    // Parsing treats a missing or empty text as now, so an absent property reads as the current instant.
    std::optional<Date> date;
    if (absent(realValue)) {
        date = now;
    } else if (realValue->is_string()) {
        const auto& text = realValue->get_ref<const std::string&>();
        date = text.empty() ? std::optional<Date>(now) : OTUtils::dateFromString(text);
    }
    if (function == Operator::NotNull) return date_compareNOT_NULL(date);
    if (function == Operator::Null) return date_compareNULL(date);
    if (absent(realValue) || !date) return false;
    switch (function) {
        case Operator::AbsoluteTime: return date_compareABSOLUTE_TIME(ruleValue, date, now);
        case Operator::RelativeTimeRangeCurrent: return date_compareRELATIVE_TIME_RANGE_CUURENT(ruleValue, date, now);
        case Operator::RelativeTimeOfCurrent: return date_compareRELATIVE_TIME_OF_CURRENT(ruleValue, date, now);
        default: return false;
    }
}

bool OTRuleEvaluator::date_compareABSOLUTE_TIME(const Operands& ruleValue, const std::optional<Date>& realValue,
                                                Date now) {
    if (!realValue || ruleValue.count < 2) return false;
    const auto start = ruleValue.instants[0].resolve(now);
    const auto end = ruleValue.instants[1].resolve(now);
    if (!start || !end) return false;
    return OTUtils::compareOneDay(start, realValue) <= 0 && OTUtils::compareOneDay(realValue, end) <= 0;
}

bool OTRuleEvaluator::date_compareRELATIVE_TIME_RANGE_CUURENT(const Operands& ruleValue,
                                                              const std::optional<Date>& realValue, Date now) {
    if (!realValue || ruleValue.count < 2) return false;
    const auto& a = ruleValue.integers[0];
    const auto& b = ruleValue.integers[1];
    if (!a || !b || *a < *b) return false;
    const Date earliest = now - span(*a, 86400);
    const Date latest = now - span(*b, 86400);
    return OTUtils::compareOneDay(earliest, realValue) <= 0 && OTUtils::compareOneDay(realValue, latest) <= 0;
}

bool OTRuleEvaluator::date_compareRELATIVE_TIME_OF_CURRENT(const Operands& ruleValue,
                                                           const std::optional<Date>& realValue, Date now) {
    if (!realValue || ruleValue.count < 3 || !ruleValue.integers[0]) return false;
    std::int64_t seconds = 0;
    bool (*sameUnit)(const std::optional<Date>&, const std::optional<Date>&) = nullptr;
    switch (ruleValue.unit) {
        case OTRuleClause::TimeUnit::Day:
            seconds = 86400;
            sameUnit = &OTUtils::isSameDay;
            break;
        case OTRuleClause::TimeUnit::Hour:
            seconds = 3600;
            sameUnit = &OTUtils::isSameHour;
            break;
        case OTRuleClause::TimeUnit::Minute:
            seconds = 60;
            sameUnit = &OTUtils::isSameMinute;
            break;
        case OTRuleClause::TimeUnit::Second:
            seconds = 1;
            sameUnit = &OTUtils::isSameSecond;
            break;
        case OTRuleClause::TimeUnit::Unknown: return false;
    }
    const auto offset = span(*ruleValue.integers[0], seconds);
    // "within" is accepted on the wire and never matches.
    switch (ruleValue.direction) {
        case OTRuleClause::Direction::Before: return sameUnit(realValue, now - offset);
        case OTRuleClause::Direction::After: return sameUnit(realValue, now + offset);
        default: return false;
    }
}

bool OTRuleEvaluator::date_compareNOT_NULL(const std::optional<Date>& realValue) { return realValue.has_value(); }

bool OTRuleEvaluator::date_compareNULL(const std::optional<Date>& realValue) { return !realValue.has_value(); }

// ---- Lists of texts ----

bool OTRuleEvaluator::array_compareRule(Operator function, const Operands& ruleValue, const nlohmann::json* realValue) {
    if (function == Operator::NotNull) return array_compareNOT_NULL(realValue);
    if (function == Operator::Null) return array_compareNULL(realValue);
    if (absent(realValue)) return false;
    switch (function) {
        case Operator::Eq: return array_compareEQ(ruleValue, *realValue);
        case Operator::Contain: return array_compareCONTAIN(ruleValue, *realValue);
        case Operator::NotContain: return array_compareNOT_CONTAIN(ruleValue, *realValue);
        default: return false;
    }
}

bool OTRuleEvaluator::array_compareEQ(const Operands& ruleValue, const nlohmann::json& realValue) {
    if (ruleValue.count == 0 || !isNonEmptyList(realValue)) return false;
    const auto& r = ruleValue.first;
    const auto& p = realValue.front();
    if (r.is_string() && p.is_string()) {
        return OTText::equalsIgnoringCase(r.get_ref<const std::string&>(), p.get_ref<const std::string&>());
    }
    return OTJSONValue::numbersEqual(r, p);
}

bool OTRuleEvaluator::array_compareCONTAIN(const Operands& ruleValue, const nlohmann::json& realValue) {
    return arrayContains(ruleValue, realValue).value_or(false);
}

bool OTRuleEvaluator::array_compareNOT_CONTAIN(const Operands& ruleValue, const nlohmann::json& realValue) {
    const auto contains = arrayContains(ruleValue, realValue);
    return !contains || !*contains;
}

bool OTRuleEvaluator::array_compareNOT_NULL(const nlohmann::json* realValue) {
    return realValue != nullptr && isNonEmptyList(*realValue);
}

bool OTRuleEvaluator::array_compareNULL(const nlohmann::json* realValue) { return !array_compareNOT_NULL(realValue); }

}  // namespace corvane
