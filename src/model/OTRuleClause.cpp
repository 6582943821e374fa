#include "model/OTRuleClause.h"

#include "foundation/OTDescription.h"
#include "foundation/OTJSONValue.h"
#include "foundation/OTText.h"
#include "services/OTUtils.h"

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

const std::string* textAt(const nlohmann::json& value) {
    return value.is_string() ? &value.get_ref<const std::string&>() : nullptr;
}

OTRuleClause::Instant instantOf(const nlohmann::json& operand) {
    OTRuleClause::Instant instant;
    const auto* text = textAt(operand);
    if (text == nullptr) return instant;
    if (text->empty()) instant.now = true;
    else instant.at = OTUtils::dateFromString(*text);
    return instant;
}

OTRuleClause::TimeUnit unitNamed(const nlohmann::json& operand) {
    const auto* text = textAt(operand);
    if (text == nullptr) return OTRuleClause::TimeUnit::Unknown;
    if (*text == "day") return OTRuleClause::TimeUnit::Day;
    if (*text == "hour") return OTRuleClause::TimeUnit::Hour;
    if (*text == "minute") return OTRuleClause::TimeUnit::Minute;
    if (*text == "second") return OTRuleClause::TimeUnit::Second;
    return OTRuleClause::TimeUnit::Unknown;
}

OTRuleClause::Direction directionNamed(const nlohmann::json& operand) {
    const auto* text = textAt(operand);
    if (text == nullptr) return OTRuleClause::Direction::Unknown;
    if (*text == "before") return OTRuleClause::Direction::Before;
    if (*text == "after") return OTRuleClause::Direction::After;
    if (*text == "within") return OTRuleClause::Direction::Within;
    return OTRuleClause::Direction::Unknown;
}
}  // namespace

bool OTStringIsNumber(const nlohmann::json& value) {
    const auto* text = textAt(value);
    if (text == nullptr || text->empty()) return false;
    std::size_t at = 0;
    if (auto end = scanInteger(*text, 0)) {
        if (atEnd(*text, *end)) return true;
        at = *end;
    }
    // The floating scan goes on from where the integer stopped, not from the start.
    auto end = scanDouble(*text, at);
    return end && atEnd(*text, *end);
}

OTRuleClause OTRuleClause::parse(const nlohmann::json& field, const nlohmann::json& dataType,
                                 const nlohmann::json& function, const nlohmann::json& value) {
    OTRuleClause clause;
    if (const auto* name = textAt(field)) clause.field = *name;
    clause.dataType = dataTypeNamed(dataType);
    clause.op = operatorNamed(clause.dataType, function);
    clause.operands = readOperands(value);
    return clause;
}

OTRuleClause::DataType OTRuleClause::dataTypeNamed(const nlohmann::json& name) {
    const auto* text = textAt(name);
    if (text == nullptr) return DataType::Unknown;
    if (*text == "string") return DataType::String;
    if (*text == "number") return DataType::Number;
    if (*text == "boolean") return DataType::Boolean;
    if (*text == "datetime") return DataType::Datetime;
    if (*text == "array<string>") return DataType::StringArray;
    return DataType::Unknown;
}

OTRuleClause::Operator OTRuleClause::operatorNamed(DataType type, const nlohmann::json& name) {
    struct Entry {
        const char* name;
        Operator op;
    };
    static constexpr Entry kString[] = {{"EQ", Operator::Eq},
                                        {"NOT_EQ", Operator::NotEq},
                                        {"CONTAIN", Operator::Contain},
                                        {"NOT_CONTAIN", Operator::NotContain},
                                        {"NOT_NULL", Operator::NotNull},
                                        {"NULL", Operator::Null}};
    static constexpr Entry kNumber[] = {{"EQ", Operator::Eq},       {"NOT_EQ", Operator::NotEq},
                                        {"GT", Operator::Gt},       {"GTE", Operator::Gte},
                                        {"LT", Operator::Lt},       {"LTE", Operator::Lte},
                                        {"RANGE", Operator::Range}, {"NOT_NULL", Operator::NotNull},
                                        {"NULL", Operator::Null}};
    static constexpr Entry kBoolean[] = {{"TRUE", Operator::True},
                                         {"FALSE", Operator::False},
                                         {"NOT_NULL", Operator::NotNull},
                                         {"NULL", Operator::Null}};
    static constexpr Entry kDatetime[] = {{"ABSOLUTE_TIME", Operator::AbsoluteTime},
                                          {"RELATIVE_TIME_RANGE_CUURENT", Operator::RelativeTimeRangeCurrent},
                                          {"RELATIVE_TIME_OF_CURRENT", Operator::RelativeTimeOfCurrent},
                                          {"NOT_NULL", Operator::NotNull},
                                          {"NULL", Operator::Null}};
    static constexpr Entry kStringArray[] = {{"EQ", Operator::Eq},
                                             {"CONTAIN", Operator::Contain},
                                             {"NOT_CONTAIN", Operator::NotContain},
                                             {"NOT_NULL", Operator::NotNull},
                                             {"NULL", Operator::Null}};
    const auto* text = textAt(name);
    if (text == nullptr) return Operator::Unknown;
    auto find = [text](const auto& table) {
        for (const auto& entry : table) {
            if (*text == entry.name) return entry.op;
        }
        return Operator::Unknown;
    };
    switch (type) {
        case DataType::String: return find(kString);
        case DataType::Number: return find(kNumber);
        case DataType::Boolean: return find(kBoolean);
        case DataType::Datetime: return find(kDatetime);
        case DataType::StringArray: return find(kStringArray);
        case DataType::Unknown: break;
    }
    return Operator::Unknown;
}

OTRuleClause::Operands OTRuleClause::readOperands(const nlohmann::json& value) {
    Operands operands;
    if (!value.is_array()) return operands;
    operands.count = value.size();
    if (operands.count == 0) return operands;
    const auto& first = value.front();
    if (first.is_string()) operands.text = first.get<std::string>();
    else if (first.is_number() || first.is_boolean()) operands.text = OTDescription::numberText(first);
    if (OTJSONValue::number(first) || (first.is_string() && !first.get_ref<const std::string&>().empty())) {
        operands.first = first;
    }
    for (std::size_t i = 0; i < 2 && i < operands.count; ++i) {
        if (OTStringIsNumber(value[i])) {
            const auto& text = value[i].get_ref<const std::string&>();
            operands.numbers[i] = OTJSONValue::doubleValueOfText(text);
            operands.integers[i] = OTText::integerValue(text);
        }
        operands.instants[i] = instantOf(value[i]);
    }
    if (operands.count >= 3) {
        operands.unit = unitNamed(value[1]);
        operands.direction = directionNamed(value[2]);
    }
    return operands;
}

}  // namespace corvane
