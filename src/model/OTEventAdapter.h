#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>

namespace corvane {

// Turns a source event into the dictionary form of an event record. Source 0 (the maker's own
// analytics SDK) is already in that form.
class OTEventAdapter {
public:
    virtual ~OTEventAdapter() = default;

    // Nothing for a non-dictionary (logged) or an unknown source type (not logged).
    std::optional<nlohmann::json> adaptEvent(const nlohmann::json& event, std::int64_t sourceType) const;
    nlohmann::json _adaptSensorsAnalyticsEvent(const nlohmann::json& event) const;
    // Property renames applied to the source's properties: source name → new name.
    virtual nlohmann::json specialProperties() const;
};

}  // namespace corvane
