#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "platform/formats/OTCoding.h"
#include "platform/formats/OTPropertyList.h"

namespace corvane {

// Encodes one model object as a property-list dictionary: its class name under "$class" and
// exactly the keys it encodes, each with its kind.
class OTKeyedArchiver {
public:
    static constexpr const char* kClassKey = "$class";

    void encodeBool(bool value, const std::string& key);
    void encodeInteger(std::int64_t value, const std::string& key);
    void encodeDouble(double value, const std::string& key);
    // Kept as a real number rounded to single precision.
    void encodeFloat(float value, const std::string& key);
    // Absent texts and dates are not encoded at all; JSON null is encoded as a null object.
    void encodeObject(const std::optional<std::string>& value, const std::string& key);
    void encodeObject(const nlohmann::json& value, const std::string& key);
    void encodeDate(const std::optional<OTPropertyList::Date>& value, const std::string& key);
    void encodeObject(const std::shared_ptr<const OTCoding>& value, const std::string& key);
    template <class T>
    void encodeObjects(const std::vector<std::shared_ptr<T>>& values, const std::string& key) {
        fields_.insert_or_assign(key, archivedArray(values));
    }

    static OTPropertyList archivedObject(const OTCoding& object);
    template <class T>
    static OTPropertyList archivedArray(const std::vector<std::shared_ptr<T>>& values) {
        OTPropertyList::Array array;
        array.reserve(values.size());
        for (const auto& value : values) {
            if (value) array.push_back(archivedObject(*value));
        }
        return OTPropertyList(std::move(array));
    }

private:
    OTPropertyList::Dictionary fields_;
};

}  // namespace corvane
