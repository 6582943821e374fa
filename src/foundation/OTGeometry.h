#pragma once

namespace corvane {

// Points and rectangles in points (not pixels), origin at the top left.
struct OTPoint {
    double x = 0;
    double y = 0;
    bool operator==(const OTPoint&) const = default;
};

struct OTSize {
    double width = 0;
    double height = 0;
    bool operator==(const OTSize&) const = default;
};

struct OTRect {
    OTPoint origin;
    OTSize size;
    bool operator==(const OTRect&) const = default;
};

}  // namespace corvane
