#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "platform/formats/OTKeyedArchiver.h"
#include "platform/formats/OTPropertyList.h"

namespace corvane {

// Reads one archived object's keys back, checking each value's kind. A value of the wrong kind
// reads as the kind's default; an object of a class other than the one asked for is refused.
class OTKeyedUnarchiver {
public:
    explicit OTKeyedUnarchiver(const OTPropertyList::Dictionary& fields) : fields_(fields) {}

    bool containsValueForKey(const std::string& key) const;
    const std::string& className() const;

    bool decodeBoolForKey(const std::string& key) const;
    std::int64_t decodeIntegerForKey(const std::string& key) const;
    double decodeDoubleForKey(const std::string& key) const;
    float decodeFloatForKey(const std::string& key) const;
    std::optional<std::string> decodeStringForKey(const std::string& key) const;
    std::optional<OTPropertyList::Date> decodeDateForKey(const std::string& key) const;
    // A value made of plain values only (texts, numbers, lists, dictionaries, null).
    std::optional<nlohmann::json> decodeJsonForKey(const std::string& key) const;

    template <class T>
    std::shared_ptr<T> decodeObjectOfClass(const std::string& key) const {
        const auto* value = find(key);
        return value != nullptr ? objectOfClass<T>(*value) : nullptr;
    }
    template <class T>
    std::optional<std::vector<std::shared_ptr<T>>> decodeArrayOfObjectsOfClass(const std::string& key) const {
        const auto* value = find(key);
        if (value == nullptr) return std::nullopt;
        return arrayOfObjectsOfClass<T>(*value);
    }

    // An archived object of class T, or nullptr.
    template <class T>
    static std::shared_ptr<T> objectOfClass(const OTPropertyList& value) {
        const auto* fields = value.get<OTPropertyList::Dictionary>();
        if (fields == nullptr) return nullptr;
        OTKeyedUnarchiver coder(*fields);
        if (coder.className() != T::kArchiveClassName) return nullptr;
        return T::initWithCoder(coder);
    }
    // A list whose every element is an archived object of class T; nothing when any is not.
    template <class T>
    static std::optional<std::vector<std::shared_ptr<T>>> arrayOfObjectsOfClass(const OTPropertyList& value) {
        const auto* array = value.get<OTPropertyList::Array>();
        if (array == nullptr) return std::nullopt;
        std::vector<std::shared_ptr<T>> objects;
        objects.reserve(array->size());
        for (const auto& element : *array) {
            auto object = objectOfClass<T>(element);
            if (!object) return std::nullopt;
            objects.push_back(std::move(object));
        }
        return objects;
    }
    // A plain value; nothing when it holds archived model objects.
    static std::optional<nlohmann::json> plainValue(const OTPropertyList& value);

private:
    const OTPropertyList* find(const std::string& key) const;

    const OTPropertyList::Dictionary& fields_;
};

}  // namespace corvane
