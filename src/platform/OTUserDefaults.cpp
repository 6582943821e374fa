#include "platform/OTUserDefaults.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "platform/OTSandbox.h"

namespace corvane {

OTUserDefaults::OTUserDefaults(std::filesystem::path path) : path_(std::move(path)) {
    if (auto bytes = OTSandbox::readFile(path_)) {
        if (auto root = OTPropertyList::fromBinary(*bytes)) {
            if (auto* dict = root->get<OTPropertyList::Dictionary>()) values_ = std::move(*dict);
        }
    }
}

std::optional<OTPropertyList> OTUserDefaults::valueForKey(const std::string& key) const {
    std::lock_guard lock(mutex_);
    const auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

void OTUserDefaults::setValue(const OTPropertyList& value, const std::string& key) {
    std::lock_guard lock(mutex_);
    values_.insert_or_assign(key, value);
    writeLocked();
}

std::optional<nlohmann::json> OTUserDefaults::objectForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return std::nullopt;
    return value->toJson();
}

void OTUserDefaults::setObject(const nlohmann::json& value, const std::string& key) {
    if (value.is_null() || value.is_discarded()) {
        removeObjectForKey(key);
        return;
    }
    setValue(OTPropertyList::fromJson(value), key);
}

void OTUserDefaults::removeObjectForKey(const std::string& key) {
    std::lock_guard lock(mutex_);
    if (values_.erase(key) > 0) writeLocked();
}

std::optional<std::string> OTUserDefaults::stringForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return std::nullopt;
    if (const auto* text = value->get<std::string>()) return *text;
    if (const auto* integer = value->get<std::int64_t>()) return std::to_string(*integer);
    if (const auto* real = value->get<double>()) return nlohmann::json(*real).dump();
    return std::nullopt;
}

std::int64_t OTUserDefaults::integerForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return 0;
    if (const auto* integer = value->get<std::int64_t>()) return *integer;
    if (const auto* flag = value->get<bool>()) return *flag ? 1 : 0;
    if (const auto* real = value->get<double>()) {
        if (!std::isfinite(*real)) return 0;
        if (*real >= 9.2e18) return std::numeric_limits<std::int64_t>::max();
        if (*real <= -9.2e18) return std::numeric_limits<std::int64_t>::min();
        return static_cast<std::int64_t>(*real);
    }
    if (const auto* text = value->get<std::string>()) return integerValue(*text);
    return 0;
}

double OTUserDefaults::doubleForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return 0;
    if (const auto* real = value->get<double>()) return *real;
    if (const auto* integer = value->get<std::int64_t>()) return static_cast<double>(*integer);
    if (const auto* flag = value->get<bool>()) return *flag ? 1 : 0;
    if (const auto* text = value->get<std::string>()) return std::strtod(text->c_str(), nullptr);
    return 0;
}

bool OTUserDefaults::boolForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return false;
    if (const auto* flag = value->get<bool>()) return *flag;
    if (const auto* integer = value->get<std::int64_t>()) return *integer != 0;
    if (const auto* real = value->get<double>()) return *real != 0;
    if (const auto* text = value->get<std::string>()) {
        if (text->empty()) return false;
        const char c = (*text)[0];
        return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
    }
    return false;
}

std::optional<OTPropertyList::Date> OTUserDefaults::dateForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return std::nullopt;
    if (const auto* date = value->get<OTPropertyList::Date>()) return *date;
    return std::nullopt;
}

void OTUserDefaults::setDate(OTPropertyList::Date value, const std::string& key) {
    setValue(OTPropertyList(value), key);
}

std::optional<OTPropertyList::Data> OTUserDefaults::dataForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return std::nullopt;
    if (auto* data = value->get<OTPropertyList::Data>()) return std::move(*data);
    return std::nullopt;
}

void OTUserDefaults::setData(const OTPropertyList::Data& value, const std::string& key) {
    setValue(OTPropertyList(value), key);
}

bool OTUserDefaults::synchronize() {
    std::lock_guard lock(mutex_);
    return writeLocked();
}

OTPropertyList::Dictionary OTUserDefaults::dictionaryRepresentation() const {
    std::lock_guard lock(mutex_);
    return values_;
}

bool OTUserDefaults::writeLocked() const {
    return OTSandbox::writeFileAtomically(path_, OTPropertyList(values_).toBinary());
}

std::int64_t OTUserDefaults::integerValue(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r' ||
                               text[i] == '\f' || text[i] == '\v')) {
        ++i;
    }
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    std::uint64_t magnitude = 0;
    const std::uint64_t limit = negative ? static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + 1
                                         : static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        const auto digit = static_cast<std::uint64_t>(text[i] - '0');
        if (magnitude > (limit - digit) / 10) {
            magnitude = limit;
            break;
        }
        magnitude = magnitude * 10 + digit;
    }
    if (negative) {
        return magnitude == limit ? std::numeric_limits<std::int64_t>::min() : -static_cast<std::int64_t>(magnitude);
    }
    return static_cast<std::int64_t>(magnitude);
}

}  // namespace corvane
