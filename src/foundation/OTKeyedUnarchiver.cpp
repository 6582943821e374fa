#include "foundation/OTKeyedUnarchiver.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "foundation/OTJSONValue.h"

namespace corvane {

namespace {
// Whether `value` is free of archived objects (a null object is plain).
bool isPlain(const OTPropertyList& value) {
    if (const auto* array = value.get<OTPropertyList::Array>()) {
        for (const auto& item : *array) {
            if (!isPlain(item)) return false;
        }
        return true;
    }
    if (const auto* dict = value.get<OTPropertyList::Dictionary>()) {
        if (const auto it = dict->find(OTKeyedArchiver::kClassKey); it != dict->end()) {
            const auto* name = it->second.get<std::string>();
            return dict->size() == 1 && name != nullptr && *name == "NSNull";
        }
        for (const auto& [key, item] : *dict) {
            if (!isPlain(item)) return false;
        }
    }
    return true;
}
}  // namespace

OTKeyedUnarchiver::OTKeyedUnarchiver(OTBinaryPlistReader& reader, OTBinaryPlistReader::Entries fields,
                                     std::size_t depth)
    : reader_(reader), fields_(std::move(fields)), depth_(depth) {
    const auto last = std::find_if(fields_.rbegin(), fields_.rend(),
                                   [](const auto& field) { return field.first == OTKeyedArchiver::kClassKey; });
    if (last == fields_.rend()) return;
    auto name = reader_.value(last->second, depth_ + 1);
    if (auto* text = name ? name->get<std::string>() : nullptr) className_ = std::move(*text);
}

std::optional<OTKeyedUnarchiver::Ref> OTKeyedUnarchiver::find(std::string_view key) const {
    if (key == OTKeyedArchiver::kClassKey) return std::nullopt;
    const auto last =
        std::find_if(fields_.rbegin(), fields_.rend(), [&](const auto& field) { return field.first == key; });
    if (last == fields_.rend()) return std::nullopt;
    return last->second;
}

std::optional<OTPropertyList> OTKeyedUnarchiver::valueForKey(std::string_view key) const {
    const auto ref = find(key);
    if (!ref) return std::nullopt;
    return reader_.value(*ref, depth_ + 1);
}

bool OTKeyedUnarchiver::containsValueForKey(std::string_view key) const { return find(key).has_value(); }

bool OTKeyedUnarchiver::decodeBoolForKey(std::string_view key) const {
    const auto value = valueForKey(key);
    if (!value) return false;
    if (const auto* flag = value->get<bool>()) return *flag;
    if (const auto* integer = value->get<std::int64_t>()) return *integer != 0;
    return false;
}

std::int64_t OTKeyedUnarchiver::decodeIntegerForKey(std::string_view key) const {
    const auto value = valueForKey(key);
    if (!value) return 0;
    if (const auto* integer = value->get<std::int64_t>()) return *integer;
    if (const auto* flag = value->get<bool>()) return *flag ? 1 : 0;
    if (const auto* real = value->get<double>()) {
        if (!std::isfinite(*real) || std::fabs(*real) >= 9.2e18) return 0;
        return static_cast<std::int64_t>(*real);
    }
    return 0;
}

double OTKeyedUnarchiver::decodeDoubleForKey(std::string_view key) const {
    const auto value = valueForKey(key);
    if (!value) return 0;
    if (const auto* real = value->get<double>()) return *real;
    if (const auto* integer = value->get<std::int64_t>()) return static_cast<double>(*integer);
    return 0;
}

float OTKeyedUnarchiver::decodeFloatForKey(std::string_view key) const {
    return OTJSONValue::floatValue(decodeDoubleForKey(key)).value_or(0);
}

std::optional<std::string> OTKeyedUnarchiver::decodeStringForKey(std::string_view key) const {
    auto value = valueForKey(key);
    if (!value) return std::nullopt;
    if (auto* text = value->get<std::string>()) return std::move(*text);
    return std::nullopt;
}

std::optional<OTPropertyList::Date> OTKeyedUnarchiver::decodeDateForKey(std::string_view key) const {
    const auto value = valueForKey(key);
    if (!value) return std::nullopt;
    if (const auto* date = value->get<OTPropertyList::Date>()) return *date;
    return std::nullopt;
}

std::optional<nlohmann::json> OTKeyedUnarchiver::decodeJsonForKey(std::string_view key) const {
    const auto value = valueForKey(key);
    if (!value) return std::nullopt;
    return plainValue(*value);
}

std::optional<nlohmann::json> OTKeyedUnarchiver::plainValue(const OTPropertyList& value) {
    if (!isPlain(value)) return std::nullopt;
    return value.toJson();
}

}  // namespace corvane
