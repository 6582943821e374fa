#include "foundation/OTKeyedArchiver.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace corvane {

void OTKeyedArchiver::setField(const std::string& key, Ref value) {
    const auto it = std::find_if(fields_.begin(), fields_.end(), [&](const auto& field) { return field.first == key; });
    if (it != fields_.end()) it->second = value;
    else fields_.emplace_back(key, value);
}

void OTKeyedArchiver::setField(const std::string& key, const OTPropertyList& value) {
    setField(key, writer_.add(value, depth_ + 1));
}

void OTKeyedArchiver::encodeBool(bool value, const std::string& key) { setField(key, OTPropertyList(value)); }

void OTKeyedArchiver::encodeInteger(std::int64_t value, const std::string& key) {
    setField(key, writer_.addInteger(value));
}

void OTKeyedArchiver::encodeDouble(double value, const std::string& key) { setField(key, OTPropertyList(value)); }

void OTKeyedArchiver::encodeFloat(float value, const std::string& key) {
    setField(key, OTPropertyList(static_cast<double>(value)));
}

void OTKeyedArchiver::encodeObject(const std::optional<std::string>& value, const std::string& key) {
    if (value) setField(key, writer_.addString(*value));
}

void OTKeyedArchiver::encodeObject(const nlohmann::json& value, const std::string& key) {
    if (value.is_discarded()) return;
    // A value nested deeper than an archive can hold is left out, as an absent one is.
    if (auto converted = OTPropertyList::fromJson(value)) setField(key, *converted);
}

void OTKeyedArchiver::encodeDate(const std::optional<OTPropertyList::Date>& value, const std::string& key) {
    if (value) setField(key, OTPropertyList(*value));
}

void OTKeyedArchiver::encodeObject(const std::shared_ptr<const OTCoding>& value, const std::string& key) {
    if (value) setField(key, encodeRoot(writer_, *value, depth_ + 1));
}

OTKeyedArchiver::Ref OTKeyedArchiver::encodeRoot(OTBinaryPlistWriter& writer, const OTCoding& object,
                                                 std::size_t depth) {
    OTKeyedArchiver coder(writer, depth);
    object.encodeWithCoder(coder);
    coder.setField(kClassKey, writer.addString(object.archiveClassName()));
    std::vector<Ref> keys;
    std::vector<Ref> values;
    keys.reserve(coder.fields_.size());
    values.reserve(coder.fields_.size());
    for (const auto& [key, value] : coder.fields_) {
        keys.push_back(writer.addString(key));
        values.push_back(value);
    }
    return writer.addDictionary(keys, values, depth);
}

std::optional<std::string> OTKeyedArchiver::archivedData(const OTCoding& object) {
    OTBinaryPlistWriter writer;
    const auto top = encodeRoot(writer, object, 0);
    return writer.finishText(top);
}

}  // namespace corvane
