#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "view/OTColor.h"

namespace corvane {

// What a dialog campaign gets wrong for people who read with a screen reader or larger text,
// computed on what the library will draw: its colours and sizes (defaults included) and its
// layout on the narrowest screen. Each finding is a warning: the campaign still shows.
class OTAccessibilityChecker {
public:
    // Where in the campaign (a key path) and what is wrong.
    using Report = std::function<void(const std::string& path, std::string sentence)>;
    // The narrowest screen the library lays out for, and the text scale it must still fit at.
    static constexpr double kNarrowWidth = 320;
    static constexpr double kNarrowHeight = 568;
    static constexpr double kLargeTextScale = 2.0;

    OTAccessibilityChecker() = delete;

    static void checkDialog(const nlohmann::json& campaign, const Report& report);
    // WCAG 2.1's contrast ratio of two colours, the first drawn over the second.
    static double contrast(const OTColor& text, const OTColor& background);
};

}  // namespace corvane
