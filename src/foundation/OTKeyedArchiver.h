#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/OTBinaryPlistWriter.h"
#include "foundation/OTCoding.h"
#include "foundation/OTPropertyList.h"

namespace corvane {

// Encodes model objects as property-list dictionaries: each object's class name under "$class"
// and exactly the keys it encodes, each with its kind. The values go straight into the writer as
// they are encoded; an object's dictionary follows them once its last key is in.
class OTKeyedArchiver {
public:
    using Ref = OTBinaryPlistWriter::Ref;
    static constexpr const char* kClassKey = "$class";

    OTKeyedArchiver(const OTKeyedArchiver&) = delete;
    OTKeyedArchiver& operator=(const OTKeyedArchiver&) = delete;

    // A key encoded twice keeps its last value.
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
        setField(key, encodeArray(writer_, values, depth_ + 1));
    }

    // `object` as a dictionary sitting `depth` levels below the top object.
    static Ref encodeRoot(OTBinaryPlistWriter& writer, const OTCoding& object, std::size_t depth);
    // The objects that are there, as a list of dictionaries.
    template <class T>
    static Ref encodeArray(OTBinaryPlistWriter& writer, const std::vector<std::shared_ptr<T>>& values,
                           std::size_t depth) {
        std::vector<Ref> refs;
        refs.reserve(values.size());
        for (const auto& value : values) {
            if (value) refs.push_back(encodeRoot(writer, *value, depth + 1));
        }
        return writer.addArray(refs, depth);
    }
    // A whole property list with the object, or the list of objects, as its top object.
    static std::optional<std::string> archivedData(const OTCoding& object);
    template <class T>
    static std::optional<std::string> archivedData(const std::vector<std::shared_ptr<T>>& values) {
        OTBinaryPlistWriter writer;
        const auto top = encodeArray(writer, values, 0);
        return writer.finishText(top);
    }

private:
    OTKeyedArchiver(OTBinaryPlistWriter& writer, std::size_t depth) : writer_(writer), depth_(depth) {}

    void setField(const std::string& key, Ref value);
    void setField(const std::string& key, const OTPropertyList& value);

    OTBinaryPlistWriter& writer_;
    std::size_t depth_;
    std::vector<std::pair<std::string, Ref>> fields_;
};

}  // namespace corvane
