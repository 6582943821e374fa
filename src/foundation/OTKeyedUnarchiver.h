#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/OTBinaryPlistReader.h"
#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTPropertyList.h"

namespace corvane {

// Reads one archived object's keys back from the file, checking each value's kind; only the
// values asked for are read. A value of the wrong kind reads as the kind's default; an object of a
// class other than the one asked for is refused. A key that appears twice keeps its last value.
class OTKeyedUnarchiver {
public:
    using Ref = OTBinaryPlistReader::Ref;

    OTKeyedUnarchiver(OTBinaryPlistReader& reader, OTBinaryPlistReader::Entries fields, std::size_t depth);

    bool containsValueForKey(std::string_view key) const;
    const std::string& className() const { return className_; }

    bool decodeBoolForKey(std::string_view key) const;
    std::int64_t decodeIntegerForKey(std::string_view key) const;
    double decodeDoubleForKey(std::string_view key) const;
    float decodeFloatForKey(std::string_view key) const;
    std::optional<std::string> decodeStringForKey(std::string_view key) const;
    std::optional<OTPropertyList::Date> decodeDateForKey(std::string_view key) const;
    // A value made of plain values only (texts, numbers, lists, dictionaries, null).
    std::optional<nlohmann::json> decodeJsonForKey(std::string_view key) const;

    template <class T>
    std::shared_ptr<T> decodeObjectOfClass(std::string_view key) const {
        const auto ref = find(key);
        return ref ? objectOfClass<T>(reader_, *ref, depth_ + 1) : nullptr;
    }
    template <class T>
    std::optional<std::vector<std::shared_ptr<T>>> decodeArrayOfObjectsOfClass(std::string_view key) const {
        const auto ref = find(key);
        if (!ref) return std::nullopt;
        return arrayOfObjectsOfClass<T>(reader_, *ref, depth_ + 1);
    }

    // The archived object of class T at `ref`, `depth` levels below the top, or nullptr.
    template <class T>
    static std::shared_ptr<T> objectOfClass(OTBinaryPlistReader& reader, Ref ref, std::size_t depth) {
        auto fields = reader.dictionaryAt(ref, depth);
        if (!fields) return nullptr;
        const OTKeyedUnarchiver coder(reader, std::move(*fields), depth);
        if (coder.className() != T::kArchiveClassName) return nullptr;
        return T::initWithCoder(coder);
    }
    // A list whose every element is an archived object of class T; nothing when any is not.
    template <class T>
    static std::optional<std::vector<std::shared_ptr<T>>> arrayOfObjectsOfClass(OTBinaryPlistReader& reader, Ref ref,
                                                                                std::size_t depth) {
        const auto refs = reader.arrayAt(ref, depth);
        if (!refs) return std::nullopt;
        std::vector<std::shared_ptr<T>> objects;
        objects.reserve(refs->size());
        for (const auto element : *refs) {
            auto object = objectOfClass<T>(reader, element, depth + 1);
            if (!object) return std::nullopt;
            objects.push_back(std::move(object));
        }
        return objects;
    }
    // The top object of a whole property list as class T, or a list of them.
    template <class T>
    static std::shared_ptr<T> unarchivedObjectOfClass(std::string_view bytes) {
        auto reader = OTBinaryPlistReader::open(bytes);
        return reader ? objectOfClass<T>(*reader, reader->top(), 0) : nullptr;
    }
    template <class T>
    static std::optional<std::vector<std::shared_ptr<T>>> unarchivedArrayOfObjectsOfClass(std::string_view bytes) {
        auto reader = OTBinaryPlistReader::open(bytes);
        if (!reader) return std::nullopt;
        return arrayOfObjectsOfClass<T>(*reader, reader->top(), 0);
    }
    // A plain value; nothing when it holds archived model objects.
    static std::optional<nlohmann::json> plainValue(const OTPropertyList& value);

private:
    std::optional<Ref> find(std::string_view key) const;
    // The value of `key`, read now; nothing when absent or unreadable.
    std::optional<OTPropertyList> valueForKey(std::string_view key) const;

    // Reading charges the reader's budgets, which a const unarchiver still spends.
    OTBinaryPlistReader& reader_;
    OTBinaryPlistReader::Entries fields_;
    std::size_t depth_;
    std::string className_;
};

}  // namespace corvane
