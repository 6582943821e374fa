#include "platform/formats/OTKeyedArchiver.h"

#include <nlohmann/json.hpp>

namespace corvane {

void OTKeyedArchiver::encodeBool(bool value, const std::string& key) {
    fields_.insert_or_assign(key, OTPropertyList(value));
}

void OTKeyedArchiver::encodeInteger(std::int64_t value, const std::string& key) {
    fields_.insert_or_assign(key, OTPropertyList(value));
}

void OTKeyedArchiver::encodeDouble(double value, const std::string& key) {
    fields_.insert_or_assign(key, OTPropertyList(value));
}

void OTKeyedArchiver::encodeFloat(float value, const std::string& key) {
    fields_.insert_or_assign(key, OTPropertyList(static_cast<double>(value)));
}

void OTKeyedArchiver::encodeObject(const std::optional<std::string>& value, const std::string& key) {
    if (value) fields_.insert_or_assign(key, OTPropertyList(*value));
}

void OTKeyedArchiver::encodeObject(const nlohmann::json& value, const std::string& key) {
    if (value.is_discarded()) return;
    // A value nested deeper than an archive can hold is left out, as an absent one is.
    if (auto converted = OTPropertyList::fromJson(value)) fields_.insert_or_assign(key, std::move(*converted));
}

void OTKeyedArchiver::encodeDate(const std::optional<OTPropertyList::Date>& value, const std::string& key) {
    if (value) fields_.insert_or_assign(key, OTPropertyList(*value));
}

void OTKeyedArchiver::encodeObject(const std::shared_ptr<const OTCoding>& value, const std::string& key) {
    if (value) fields_.insert_or_assign(key, archivedObject(*value));
}

OTPropertyList OTKeyedArchiver::archivedObject(const OTCoding& object) {
    OTKeyedArchiver coder;
    object.encodeWithCoder(coder);
    coder.fields_.insert_or_assign(kClassKey, OTPropertyList(object.archiveClassName()));
    return OTPropertyList(std::move(coder.fields_));
}

}  // namespace corvane
