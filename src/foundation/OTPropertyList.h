#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace corvane {

// A property-list value: the storage form of user defaults, keychain items and keyed archives.
// Dates are kept to the microsecond.
// Binary property lists are read with bounds: a missing, truncated, foreign or hostile input
// gives nothing.
class OTPropertyList {
public:
    // The binary form's fixed parts: the "bplist00" header and the trailer of sizes and offsets.
    static constexpr std::size_t kBinaryHeaderSize = 8;
    static constexpr std::size_t kBinaryTrailerSize = 32;
    using Date = std::chrono::system_clock::time_point;
    using Data = std::vector<std::uint8_t>;
    using Array = std::vector<OTPropertyList>;
    using Dictionary = std::map<std::string, OTPropertyList>;
    enum class Kind { Boolean, Integer, Real, String, Date, Data, Array, Dictionary };

    OTPropertyList();  // an empty dictionary
    OTPropertyList(bool value);
    OTPropertyList(int value);
    OTPropertyList(std::int64_t value);
    OTPropertyList(std::uint64_t value);
    OTPropertyList(double value);
    OTPropertyList(const char* value);
    OTPropertyList(std::string value);
    OTPropertyList(Date value);
    OTPropertyList(Data value);
    OTPropertyList(Array value);
    OTPropertyList(Dictionary value);

    Kind kind() const;
    template <class T>
    const T* get() const {
        return std::get_if<T>(&value_);
    }
    template <class T>
    T* get() {
        return std::get_if<T>(&value_);
    }
    // A dictionary's entry, or nothing (also when this is not a dictionary).
    const OTPropertyList* find(const std::string& key) const;

    bool operator==(const OTPropertyList& other) const = default;

    // The binary form; nothing when the reader would refuse it: nested deeper than kMaxDepth,
    // more than kMaxNodes objects, or larger than the sandbox's read limit.
    std::optional<std::string> toBinary() const;
    static std::optional<OTPropertyList> fromBinary(std::string_view bytes);

    // JSON null has no property-list form; it is kept as the dictionary {"$class": "NSNull"}, the
    // way a keyed archive keeps a null object, and read back as null. Nothing for a value nested
    // deeper than kMaxDepth.
    static std::optional<OTPropertyList> fromJson(const nlohmann::json& value);
    // Dates become seconds since 1970, data becomes a JSON binary value.
    nlohmann::json toJson() const;

    static constexpr std::size_t kMaxDepth = 256;
    // Ten thousand stored campaigns take about a million objects.
    static constexpr std::size_t kMaxNodes = 2'000'000;

private:
    static std::optional<OTPropertyList> fromJson(const nlohmann::json& value, std::size_t depth);

    std::variant<bool, std::int64_t, double, std::string, Date, Data, Array, Dictionary> value_;
};

}  // namespace corvane
