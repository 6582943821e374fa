#include "view/OTColor.h"

#include <cstdint>
#include <cstdio>

#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTText.h"

namespace corvane {

OTColor OTColor::fromHexText(std::string_view text) {
    const std::string hex = OTText::replacingOccurrences(text, "#", "0x");
    std::size_t i = 0;
    while (i < hex.size() && (hex[i] == ' ' || (hex[i] >= '\t' && hex[i] <= '\r'))) ++i;
    if (i + 1 < hex.size() && hex[i] == '0' && (hex[i + 1] == 'x' || hex[i + 1] == 'X')) i += 2;
    std::uint64_t n = 0;
    for (; i < hex.size(); ++i) {
        const char c = hex[i];
        int digit;
        if (c >= '0' && c <= '9') digit = c - '0';
        else if (c >= 'a' && c <= 'f') digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F') digit = c - 'A' + 10;
        else break;
        n = n * 16 + static_cast<std::uint64_t>(digit);
        if (n > 0xFFFFFFFFu) n = 0xFFFFFFFFu;  // the scanner saturates at 32 bits
    }
    return OTColor(static_cast<double>(n >> 16) / 255.0, static_cast<double>((n >> 8) & 0xFF) / 255.0,
                   static_cast<double>(n & 0xFF) / 255.0, 1.0);
}

std::string OTColor::description() const {
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, "rgba(%g,%g,%g,%g)", red_, green_, blue_, alpha_);
    return buffer;
}

void OTColor::encodeWithCoder(OTKeyedArchiver& coder) const {
    coder.encodeDouble(red_, "red");
    coder.encodeDouble(green_, "green");
    coder.encodeDouble(blue_, "blue");
    coder.encodeDouble(alpha_, "alpha");
}

std::shared_ptr<OTColor> OTColor::initWithCoder(const OTKeyedUnarchiver& coder) {
    return std::make_shared<OTColor>(coder.decodeDoubleForKey("red"), coder.decodeDoubleForKey("green"),
                                     coder.decodeDoubleForKey("blue"),
                                     coder.containsValueForKey("alpha") ? coder.decodeDoubleForKey("alpha") : 1.0);
}

}  // namespace corvane
