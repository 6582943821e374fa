#include "foundation/OTPropertyList.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>

#include "foundation/OTBinaryPlistReader.h"
#include "foundation/OTBinaryPlistWriter.h"
#include "foundation/OTFiles.h"

namespace corvane {

namespace {
bool isNullMarker(const OTPropertyList::Dictionary& dict) {
    if (dict.size() != 1) return false;
    const auto it = dict.find("$class");
    const auto* name = it != dict.end() ? it->second.get<std::string>() : nullptr;
    return name != nullptr && *name == "NSNull";
}
}  // namespace

OTPropertyList::OTPropertyList() : value_(Dictionary{}) {}
OTPropertyList::OTPropertyList(bool value) : value_(value) {}
OTPropertyList::OTPropertyList(int value) : value_(static_cast<std::int64_t>(value)) {}
OTPropertyList::OTPropertyList(std::int64_t value) : value_(value) {}
OTPropertyList::OTPropertyList(std::uint64_t value) : value_(static_cast<std::int64_t>(value)) {}
OTPropertyList::OTPropertyList(double value) : value_(value) {}
OTPropertyList::OTPropertyList(const char* value) : value_(std::string(value != nullptr ? value : "")) {}
OTPropertyList::OTPropertyList(std::string value) : value_(std::move(value)) {}
OTPropertyList::OTPropertyList(Date value) : value_(value) {}
OTPropertyList::OTPropertyList(Data value) : value_(std::move(value)) {}
OTPropertyList::OTPropertyList(Array value) : value_(std::move(value)) {}
OTPropertyList::OTPropertyList(Dictionary value) : value_(std::move(value)) {}

OTPropertyList::Kind OTPropertyList::kind() const { return static_cast<Kind>(value_.index()); }

const OTPropertyList* OTPropertyList::find(const std::string& key) const {
    const auto* dict = get<Dictionary>();
    if (dict == nullptr) return nullptr;
    const auto it = dict->find(key);
    return it == dict->end() ? nullptr : &it->second;
}

std::optional<std::string> OTPropertyList::toBinary() const { return OTBinaryPlistWriter::write(*this); }

std::optional<OTPropertyList> OTPropertyList::fromBinary(std::string_view bytes) {
    if (bytes.size() > OTFiles::kMaxReadBytes) return std::nullopt;
    return OTBinaryPlistReader::read(bytes);
}

std::optional<OTPropertyList> OTPropertyList::fromJson(const nlohmann::json& value) { return fromJson(value, 0); }

std::optional<OTPropertyList> OTPropertyList::fromJson(const nlohmann::json& value, std::size_t depth) {
    if (depth > kMaxDepth) return std::nullopt;
    switch (value.type()) {
        case nlohmann::json::value_t::boolean: return OTPropertyList(value.get<bool>());
        case nlohmann::json::value_t::number_integer: return OTPropertyList(value.get<std::int64_t>());
        case nlohmann::json::value_t::number_unsigned: {
            const auto u = value.get<std::uint64_t>();
            if (u <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
                return OTPropertyList(static_cast<std::int64_t>(u));
            }
            return OTPropertyList(static_cast<double>(u));
        }
        case nlohmann::json::value_t::number_float: return OTPropertyList(value.get<double>());
        case nlohmann::json::value_t::string: return OTPropertyList(value.get<std::string>());
        case nlohmann::json::value_t::binary: {
            const auto& bin = value.get_binary();
            return OTPropertyList(Data(bin.begin(), bin.end()));
        }
        case nlohmann::json::value_t::array: {
            Array array;
            array.reserve(value.size());
            for (const auto& item : value) {
                auto converted = fromJson(item, depth + 1);
                if (!converted) return std::nullopt;
                array.push_back(std::move(*converted));
            }
            return OTPropertyList(std::move(array));
        }
        case nlohmann::json::value_t::object: {
            Dictionary dict;
            for (const auto& [key, item] : value.items()) {
                auto converted = fromJson(item, depth + 1);
                if (!converted) return std::nullopt;
                dict.emplace(key, std::move(*converted));
            }
            return OTPropertyList(std::move(dict));
        }
        default: return OTPropertyList(Dictionary{{"$class", OTPropertyList("NSNull")}});
    }
}

nlohmann::json OTPropertyList::toJson() const {
    switch (kind()) {
        case Kind::Boolean: return *get<bool>();
        case Kind::Integer: return *get<std::int64_t>();
        case Kind::Real: return *get<double>();
        case Kind::String: return *get<std::string>();
        case Kind::Date: return std::chrono::duration<double>(get<Date>()->time_since_epoch()).count();
        case Kind::Data: return nlohmann::json::binary(*get<Data>());
        case Kind::Array: {
            nlohmann::json array = nlohmann::json::array();
            for (const auto& item : *get<Array>()) array.push_back(item.toJson());
            return array;
        }
        case Kind::Dictionary: {
            const auto& dict = *get<Dictionary>();
            if (isNullMarker(dict)) return nullptr;
            nlohmann::json object = nlohmann::json::object();
            for (const auto& [key, item] : dict) object[key] = item.toJson();
            return object;
        }
    }
    return nullptr;
}

}  // namespace corvane
