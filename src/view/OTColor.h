#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/OTCoding.h"
#include "foundation/OTKeyedUnarchiver.h"

namespace corvane {

// A platform-neutral RGBA colour, components nominally in 0...1.
class OTColor final : public OTCoding {
public:
    static constexpr const char* kArchiveClassName = "OTColor";

    OTColor() = default;
    OTColor(double red, double green, double blue, double alpha)
        : red_(red), green_(green), blue_(blue), alpha_(alpha) {}

    // "#RRGGBB": "#" read as "0x", the rest as an unsigned 32-bit hexadecimal number n; red is
    // n >> 16 unmasked, so eight digits give a red above 1. Text without digits reads as black.
    static OTColor fromHexText(std::string_view text);

    double red() const { return red_; }
    double green() const { return green_; }
    double blue() const { return blue_; }
    double alpha() const { return alpha_; }
    std::string description() const;
    bool operator==(const OTColor& other) const {
        return red_ == other.red_ && green_ == other.green_ && blue_ == other.blue_ && alpha_ == other.alpha_;
    }

    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTColor> initWithCoder(const OTKeyedUnarchiver& coder);

private:
    double red_ = 0;
    double green_ = 0;
    double blue_ = 0;
    double alpha_ = 1;
};

}  // namespace corvane
