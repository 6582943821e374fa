#include "model/OTEventRule.h"

#include "model/OTEvent.h"
#include "platform/OTEnvironment.h"
#include "platform/OTText.h"
#include "platform/OTUserDefaults.h"
#include "platform/OTUtils.h"
#include "platform/formats/OTDescription.h"
#include "platform/formats/OTJSONValue.h"
#include "platform/formats/OTKeyedArchiver.h"

namespace corvane {

namespace {
bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::size_t skipBlanks(const std::string& text, std::size_t at) {
    while (at < text.size() && isBlank(text[at])) ++at;
    return at;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// A decimal integer at `at` (after blanks): optional sign, then digits. Returns where it ended.
std::optional<std::size_t> scanInteger(const std::string& text, std::size_t at) {
    std::size_t i = skipBlanks(text, at);
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    const std::size_t digits = i;
    while (i < text.size() && isDigit(text[i])) ++i;
    if (i == digits) return std::nullopt;
    return i;
}

// A floating number at `at` (after blanks): sign, digits with an optional fraction (at least one
// digit in all), optional exponent. Returns where it ended.
std::optional<std::size_t> scanDouble(const std::string& text, std::size_t at) {
    std::size_t i = skipBlanks(text, at);
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    std::size_t mantissa = 0;
    while (i < text.size() && isDigit(text[i])) {
        ++i;
        ++mantissa;
    }
    if (i < text.size() && text[i] == '.') {
        ++i;
        while (i < text.size() && isDigit(text[i])) {
            ++i;
            ++mantissa;
        }
    }
    if (mantissa == 0) return std::nullopt;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        std::size_t j = i + 1;
        if (j < text.size() && (text[j] == '+' || text[j] == '-')) ++j;
        const std::size_t exponent = j;
        while (j < text.size() && isDigit(text[j])) ++j;
        if (j > exponent) i = j;
    }
    return i;
}

bool atEnd(const std::string& text, std::size_t at) { return skipBlanks(text, at) == text.size(); }

// The text form of a property or operand: texts as they are, numbers (booleans included) as their
// decimal text; nothing for null, lists and dictionaries.
std::optional<std::string> textForm(const nlohmann::json* value) {
    if (value == nullptr) return std::nullopt;
    if (value->is_string()) return value->get<std::string>();
    if (value->is_number() || value->is_boolean()) return OTDescription::numberText(*value);
    return std::nullopt;
}

bool isNonEmptyList(const nlohmann::json& value) { return value.is_array() && !value.empty(); }

const nlohmann::json* firstOperand(const nlohmann::json& ruleValue) {
    return isNonEmptyList(ruleValue) ? &ruleValue.front() : nullptr;
}

// The boolean reading of a text: blanks, an optional sign and zeros skipped, then Y, y, T, t or 1-9.
bool textBoolValue(const std::string& text) {
    std::size_t i = skipBlanks(text, 0);
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    while (i < text.size() && text[i] == '0') ++i;
    if (i >= text.size()) return false;
    const char c = text[i];
    return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

OTEventRule::Date now() { return OTEnvironment::current()->clock().now(); }
}  // namespace

bool OTStringIsNumber(const nlohmann::json& value) {
    if (!value.is_string()) return false;
    const auto& text = value.get_ref<const std::string&>();
    if (text.empty()) return false;
    std::size_t at = 0;
    if (auto end = scanInteger(text, 0)) {
        if (atEnd(text, *end)) return true;
        at = *end;
    }
    // The floating scan goes on from where the integer stopped, not from the start.
    auto end = scanDouble(text, at);
    return end && atEnd(text, *end);
}

void OTEventRule::setModelWithDic(const nlohmann::json& dic) {
    OTDataModel::setModelWithDic(dic);
    if (!dic.is_object()) return;
    field_ = dic.contains("field") ? dic["field"] : nlohmann::json("");
    dataType_ = dic.contains("dataType") ? dic["dataType"] : nlohmann::json("");
    function_ = dic.contains("function") ? dic["function"] : nlohmann::json("");
    value_ = dic.contains("value") ? dic["value"] : nlohmann::json::array();
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
    return rule;
}

std::string OTEventRule::description() const {
    return "field:" + OTDescription::describe(field_) + ",dataType:" + OTDescription::describe(dataType_) +
           ",function:" + OTDescription::describe(function_) + ",value:" + OTDescription::describe(value_);
}

bool OTEventRule::compareRuleWithEvent(const OTEvent* incoming) const {
    if (incoming == nullptr || !incoming->xcontext().is_object()) return false;
    const nlohmann::json* realValue = nullptr;
    if (field_.is_string()) {
        const auto it = incoming->xcontext().find(field_.get_ref<const std::string&>());
        if (it != incoming->xcontext().end()) realValue = &*it;
    }
    if (!dataType_.is_string()) return false;
    const auto& type = dataType_.get_ref<const std::string&>();
    const std::string function = function_.is_string() ? function_.get<std::string>() : std::string();
    if (type == "string") return string_compareRule(function, value_, realValue);
    if (type == "number") return number_compareRule(function, value_, realValue);
    if (type == "boolean") return bool_compareRule(function, value_, realValue);
    if (type == "datetime") return date_compareRule(function, value_, realValue);
    if (type == "array<string>") return array_compareRule(function, value_, realValue);
    return false;
}

// ---- Texts ----

bool OTEventRule::string_compareRule(const std::string& function, const nlohmann::json& ruleValue,
                                     const nlohmann::json* realValue) const {
    const auto text = textForm(realValue);
    if (function == "NOT_NULL") return string_compareNOT_NULL(text);
    if (function == "NULL") return string_compareNULL(text);
    if (realValue == nullptr || realValue->is_null()) return false;
    if (function == "EQ") return string_compareEQ(ruleValue, text);
    if (function == "NOT_EQ") return string_compareNOT_EQ(ruleValue, text);
    if (function == "CONTAIN") return string_compareCONTAIN(ruleValue, text);
    if (function == "NOT_CONTAIN") return string_compareNOT_CONTAIN(ruleValue, text);
    return false;
}

namespace {
// Operand and property texts when both are usable.
std::optional<std::pair<std::string, std::string>> textOperands(const nlohmann::json& ruleValue,
                                                                const std::optional<std::string>& realValue) {
    const auto operand = textForm(firstOperand(ruleValue));
    if (!operand || operand->empty() || !realValue || realValue->empty()) return std::nullopt;
    return std::make_pair(*operand, *realValue);
}
}  // namespace

bool OTEventRule::string_compareEQ(const nlohmann::json& ruleValue, const std::optional<std::string>& realValue) const {
    const auto texts = textOperands(ruleValue, realValue);
    return texts && OTText::equalsIgnoringCase(texts->second, texts->first);
}

bool OTEventRule::string_compareNOT_EQ(const nlohmann::json& ruleValue,
                                       const std::optional<std::string>& realValue) const {
    const auto texts = textOperands(ruleValue, realValue);
    return !texts || !OTText::equalsIgnoringCase(texts->second, texts->first);
}

bool OTEventRule::string_compareCONTAIN(const nlohmann::json& ruleValue,
                                        const std::optional<std::string>& realValue) const {
    const auto texts = textOperands(ruleValue, realValue);
    return texts && OTText::lowercase(texts->second).find(OTText::lowercase(texts->first)) != std::string::npos;
}

bool OTEventRule::string_compareNOT_CONTAIN(const nlohmann::json& ruleValue,
                                            const std::optional<std::string>& realValue) const {
    const auto texts = textOperands(ruleValue, realValue);
    return !texts || OTText::lowercase(texts->second).find(OTText::lowercase(texts->first)) == std::string::npos;
}

bool OTEventRule::string_compareNOT_NULL(const std::optional<std::string>& realValue) const {
    return realValue && !realValue->empty();
}

bool OTEventRule::string_compareNULL(const std::optional<std::string>& realValue) const {
    return !realValue || realValue->empty();
}

// ---- Numbers ----

std::optional<double> OTEventRule::numberOperand(const nlohmann::json& ruleValue, std::size_t index) {
    if (!ruleValue.is_array() || ruleValue.size() <= index) return std::nullopt;
    const auto& operand = ruleValue[index];
    if (!OTStringIsNumber(operand)) return std::nullopt;
    return OTJSONValue::doubleValueOfText(operand.get_ref<const std::string&>());
}

bool OTEventRule::number_compareRule(const std::string& function, const nlohmann::json& ruleValue,
                                     const nlohmann::json* realValue) const {
    if (function == "NOT_NULL") return number_compareNOT_NULL(realValue);
    if (function == "NULL") return number_compareNULL(realValue);
    if (realValue == nullptr || realValue->is_null()) return false;
    if (function == "EQ") return number_compareEQ(ruleValue, *realValue);
    if (function == "NOT_EQ") return number_compareNOT_EQ(ruleValue, *realValue);
    if (function == "GT") return number_compareGT(ruleValue, *realValue);
    if (function == "GTE") return number_compareGTE(ruleValue, *realValue);
    if (function == "LT") return number_compareLT(ruleValue, *realValue);
    if (function == "LTE") return number_compareLTE(ruleValue, *realValue);
    if (function == "RANGE") return number_compareRANGE(ruleValue, *realValue);
    return false;
}

namespace {
// Property and first operand as numbers when both are usable.
std::optional<std::pair<double, double>> numberOperands(const nlohmann::json& ruleValue,
                                                        const nlohmann::json& realValue,
                                                        std::optional<double> operand) {
    const auto property = OTJSONValue::number(realValue);
    if (!isNonEmptyList(ruleValue) || !property || !operand) return std::nullopt;
    return std::make_pair(*property, *operand);
}
}  // namespace

bool OTEventRule::number_compareEQ(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const {
    const auto n = numberOperands(ruleValue, realValue, numberOperand(ruleValue, 0));
    return n && n->first == n->second;
}

bool OTEventRule::number_compareNOT_EQ(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const {
    const auto n = numberOperands(ruleValue, realValue, numberOperand(ruleValue, 0));
    return !n || n->first != n->second;
}

bool OTEventRule::number_compareGT(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const {
    const auto n = numberOperands(ruleValue, realValue, numberOperand(ruleValue, 0));
    return n && n->first > n->second;
}

bool OTEventRule::number_compareGTE(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const {
    const auto n = numberOperands(ruleValue, realValue, numberOperand(ruleValue, 0));
    return n && n->first >= n->second;
}

bool OTEventRule::number_compareLT(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const {
    const auto n = numberOperands(ruleValue, realValue, numberOperand(ruleValue, 0));
    return n && n->first < n->second;
}

bool OTEventRule::number_compareLTE(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const {
    const auto n = numberOperands(ruleValue, realValue, numberOperand(ruleValue, 0));
    return n && n->first <= n->second;
}

bool OTEventRule::number_compareRANGE(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const {
    const auto low = numberOperands(ruleValue, realValue, numberOperand(ruleValue, 0));
    const auto high = numberOperand(ruleValue, 1);
    return low && high && low->second <= low->first && low->first <= *high;
}

bool OTEventRule::number_compareNOT_NULL(const nlohmann::json* realValue) const { return realValue != nullptr; }

bool OTEventRule::number_compareNULL(const nlohmann::json* realValue) const { return realValue == nullptr; }

// ---- Booleans ----

bool OTEventRule::bool_compareRule(const std::string& function, const nlohmann::json& ruleValue,
                                   const nlohmann::json* realValue) const {
    bool reading = false;
    if (realValue != nullptr) {
        if (auto n = OTJSONValue::number(*realValue)) reading = *n != 0;
        else if (realValue->is_string()) reading = textBoolValue(realValue->get_ref<const std::string&>());
    }
    if (function == "NOT_NULL") return bool_compareNOT_NULL(reading);
    if (function == "NULL") return bool_compareNULL(reading);
    if (realValue == nullptr || realValue->is_null()) return false;
    if (function == "TRUE") return bool_compareTRUE(ruleValue, reading);
    if (function == "FALSE") return bool_compareFALSE(ruleValue, reading);
    return false;
}

bool OTEventRule::bool_compareTRUE(const nlohmann::json&, bool realValue) const { return realValue; }

bool OTEventRule::bool_compareFALSE(const nlohmann::json&, bool realValue) const { return !realValue; }

// A boolean reading is never null: the two null tests are constants.
bool OTEventRule::bool_compareNOT_NULL(bool) const { return true; }

bool OTEventRule::bool_compareNULL(bool) const { return false; }

// ---- Date-times ----

bool OTEventRule::date_compareRule(const std::string& function, const nlohmann::json& ruleValue,
                                   const nlohmann::json* realValue) const {
    // Parsing treats a missing or empty text as now, so an absent property reads as the current instant.
    std::optional<Date> date;
    if (realValue == nullptr || realValue->is_null()) date = OTUtils::dateFromString(std::nullopt);
    else if (realValue->is_string()) date = OTUtils::dateFromString(realValue->get<std::string>());
    if (function == "NOT_NULL") return date_compareNOT_NULL(date);
    if (function == "NULL") return date_compareNULL(date);
    if (realValue == nullptr || realValue->is_null() || !date) return false;
    if (function == "ABSOLUTE_TIME") return date_compareABSOLUTE_TIME(ruleValue, date);
    if (function == "RELATIVE_TIME_RANGE_CUURENT") return date_compareRELATIVE_TIME_RANGE_CUURENT(ruleValue, date);
    if (function == "RELATIVE_TIME_OF_CURRENT") return date_compareRELATIVE_TIME_OF_CURRENT(ruleValue, date);
    return false;
}

bool OTEventRule::date_compareABSOLUTE_TIME(const nlohmann::json& ruleValue,
                                            const std::optional<Date>& realValue) const {
    if (!realValue || !ruleValue.is_array() || ruleValue.size() < 2) return false;
    if (!ruleValue[0].is_string() || !ruleValue[1].is_string()) return false;
    const auto start = OTUtils::dateFromString(ruleValue[0].get<std::string>());
    const auto end = OTUtils::dateFromString(ruleValue[1].get<std::string>());
    if (!start || !end) return false;
    return OTUtils::compareOneDay(start, realValue) <= 0 && OTUtils::compareOneDay(realValue, end) <= 0;
}

bool OTEventRule::date_compareRELATIVE_TIME_RANGE_CUURENT(const nlohmann::json& ruleValue,
                                                          const std::optional<Date>& realValue) const {
    if (!realValue || !ruleValue.is_array() || ruleValue.size() < 2) return false;
    if (!OTStringIsNumber(ruleValue[0]) || !OTStringIsNumber(ruleValue[1])) return false;
    const auto a = OTUserDefaults::integerValue(ruleValue[0].get_ref<const std::string&>());
    const auto b = OTUserDefaults::integerValue(ruleValue[1].get_ref<const std::string&>());
    if (a < b) return false;
    const auto current = now();
    const Date earliest = current - std::chrono::seconds(a * 86400);
    const Date latest = current - std::chrono::seconds(b * 86400);
    return OTUtils::compareOneDay(earliest, realValue) <= 0 && OTUtils::compareOneDay(realValue, latest) <= 0;
}

bool OTEventRule::date_compareRELATIVE_TIME_OF_CURRENT(const nlohmann::json& ruleValue,
                                                       const std::optional<Date>& realValue) const {
    if (!realValue || !ruleValue.is_array() || ruleValue.size() < 3) return false;
    if (!OTStringIsNumber(ruleValue[0]) || !ruleValue[1].is_string() || !ruleValue[2].is_string()) return false;
    const auto amount = OTUserDefaults::integerValue(ruleValue[0].get_ref<const std::string&>());
    const auto& unit = ruleValue[1].get_ref<const std::string&>();
    const auto& direction = ruleValue[2].get_ref<const std::string&>();
    std::int64_t seconds = 0;
    bool (*sameUnit)(const std::optional<Date>&, const std::optional<Date>&) = nullptr;
    if (unit == "day") {
        seconds = 86400;
        sameUnit = &OTUtils::isSameDay;
    } else if (unit == "hour") {
        seconds = 3600;
        sameUnit = &OTUtils::isSameHour;
    } else if (unit == "minute") {
        seconds = 60;
        sameUnit = &OTUtils::isSameMinute;
    } else if (unit == "second") {
        seconds = 1;
        sameUnit = &OTUtils::isSameSecond;
    } else {
        return false;
    }
    std::chrono::seconds offset(amount * seconds);
    if (direction == "before") return sameUnit(realValue, now() - offset);
    if (direction == "after") return sameUnit(realValue, now() + offset);
    // "within" is accepted on the wire and never matches.
    return false;
}

bool OTEventRule::date_compareNOT_NULL(const std::optional<Date>& realValue) const { return realValue.has_value(); }

bool OTEventRule::date_compareNULL(const std::optional<Date>& realValue) const { return !realValue.has_value(); }

// ---- Lists of texts ----

bool OTEventRule::array_compareRule(const std::string& function, const nlohmann::json& ruleValue,
                                    const nlohmann::json* realValue) const {
    if (function == "NOT_NULL") return array_compareNOT_NULL(realValue);
    if (function == "NULL") return array_compareNULL(realValue);
    if (realValue == nullptr || realValue->is_null()) return false;
    if (function == "EQ") return array_compareEQ(ruleValue, *realValue);
    if (function == "CONTAIN") return array_compareCONTAIN(ruleValue, *realValue);
    if (function == "NOT_CONTAIN") return array_compareNOT_CONTAIN(ruleValue, *realValue);
    return false;
}

bool OTEventRule::array_compareEQ(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const {
    if (!isNonEmptyList(ruleValue) || !isNonEmptyList(realValue)) return false;
    const auto& r = ruleValue.front();
    const auto& p = realValue.front();
    if (r.is_string() && p.is_string()) {
        const auto& rt = r.get_ref<const std::string&>();
        return !rt.empty() && OTText::equalsIgnoringCase(rt, p.get_ref<const std::string&>());
    }
    return OTJSONValue::numbersEqual(r, p);
}

std::optional<bool> OTEventRule::arrayContains(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const {
    if (!isNonEmptyList(ruleValue) || !isNonEmptyList(realValue)) return std::nullopt;
    const auto& r = ruleValue.front();
    const auto& p = realValue.front();
    const bool rNumber = OTJSONValue::number(r).has_value();
    const bool rText = r.is_string() && !r.get_ref<const std::string&>().empty();
    const bool pNumber = OTJSONValue::number(p).has_value();
    if ((!rNumber && !rText) || (!pNumber && !p.is_string())) return std::nullopt;
    const std::string wanted = rNumber ? OTDescription::numberText(r) : r.get<std::string>();
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

bool OTEventRule::array_compareCONTAIN(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const {
    return arrayContains(ruleValue, realValue).value_or(false);
}

bool OTEventRule::array_compareNOT_CONTAIN(const nlohmann::json& ruleValue, const nlohmann::json& realValue) const {
    const auto contains = arrayContains(ruleValue, realValue);
    return !contains || !*contains;
}

bool OTEventRule::array_compareNOT_NULL(const nlohmann::json* realValue) const {
    return realValue != nullptr && isNonEmptyList(*realValue);
}

bool OTEventRule::array_compareNULL(const nlohmann::json* realValue) const { return !array_compareNOT_NULL(realValue); }

}  // namespace corvane
