#include "foundation/OTJSONLimits.h"

#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

namespace corvane {

bool OTJSONLimits::withinDepth(const nlohmann::json& value, std::size_t limit) {
    if (!value.is_structured()) return true;
    // Containers still to look into, with the depth of their children.
    std::vector<std::pair<const nlohmann::json*, std::size_t>> pending{{&value, 1}};
    while (!pending.empty()) {
        const auto [container, depth] = pending.back();
        pending.pop_back();
        if (depth > limit) return false;
        for (const auto& item : *container) {
            if (item.is_structured()) pending.emplace_back(&item, depth + 1);
        }
    }
    return true;
}

bool OTJSONLimits::textWithinDepth(std::string_view text, std::size_t limit) {
    std::size_t depth = 0;
    bool inText = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inText) {
            if (c == '\\') ++i;
            else if (c == '"') inText = false;
        } else if (c == '"') {
            inText = true;
        } else if (c == '[' || c == '{') {
            if (++depth > limit) return false;
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return true;
}

nlohmann::json OTJSONLimits::parse(std::string_view text) {
    if (!textWithinDepth(text)) return nlohmann::json(nlohmann::json::value_t::discarded);
    return nlohmann::json::parse(text, nullptr, false);
}

}  // namespace corvane
