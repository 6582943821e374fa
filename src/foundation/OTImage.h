#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/OTGeometry.h"

namespace corvane {

// A picture as the library handles it: the encoded bytes and the pixel size read from the header
// (PNG, JPEG, GIF or WebP). Nothing is decoded beyond the header, so a hostile file costs no more
// than reading its first chunks.
class OTImage {
public:
    OTImage(std::string data, OTSize size) : data_(std::move(data)), size_(size) {}

    // Nothing when the bytes are not a picture of a known kind or give a zero side.
    static std::shared_ptr<OTImage> imageWithData(std::string data);
    static std::optional<OTSize> sizeOfImageData(std::string_view data);

    const std::string& data() const { return data_; }
    // In points: pictures made from bytes have scale 1, so points are pixels.
    const OTSize& size() const { return size_; }

private:
    std::string data_;
    OTSize size_;
};

}  // namespace corvane
