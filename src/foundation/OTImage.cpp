#include "foundation/OTImage.h"

namespace corvane {

namespace {
std::uint32_t bigEndian(std::string_view d, std::size_t at, int bytes) {
    std::uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) value = (value << 8) | static_cast<unsigned char>(d[at + i]);
    return value;
}

std::uint32_t littleEndian(std::string_view d, std::size_t at, int bytes) {
    std::uint32_t value = 0;
    for (int i = bytes - 1; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(d[at + i]);
    return value;
}

std::optional<OTSize> sizeOfJPEG(std::string_view d) {
    std::size_t at = 2;
    while (at + 4 <= d.size()) {
        if (static_cast<unsigned char>(d[at]) != 0xFF) return std::nullopt;
        const auto marker = static_cast<unsigned char>(d[at + 1]);
        if (marker == 0xFF) {  // fill byte
            ++at;
            continue;
        }
        if (marker == 0xD8 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {  // no length
            at += 2;
            continue;
        }
        const std::uint32_t length = bigEndian(d, at + 2, 2);
        if (length < 2) return std::nullopt;
        const bool startOfFrame =
            marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (startOfFrame) {
            if (at + 9 > d.size()) return std::nullopt;
            return OTSize{static_cast<double>(bigEndian(d, at + 7, 2)), static_cast<double>(bigEndian(d, at + 5, 2))};
        }
        at += 2 + length;
    }
    return std::nullopt;
}

std::optional<OTSize> sizeOfWebP(std::string_view d) {
    if (d.size() < 30) return std::nullopt;
    const std::string_view chunk = d.substr(12, 4);
    if (chunk == "VP8 ") {
        if (static_cast<unsigned char>(d[23]) != 0x9D || static_cast<unsigned char>(d[24]) != 0x01 ||
            static_cast<unsigned char>(d[25]) != 0x2A) {
            return std::nullopt;
        }
        return OTSize{static_cast<double>(littleEndian(d, 26, 2) & 0x3FFF),
                      static_cast<double>(littleEndian(d, 28, 2) & 0x3FFF)};
    }
    if (chunk == "VP8L") {
        if (static_cast<unsigned char>(d[20]) != 0x2F) return std::nullopt;
        const std::uint32_t bits = littleEndian(d, 21, 4);
        return OTSize{static_cast<double>((bits & 0x3FFF) + 1), static_cast<double>(((bits >> 14) & 0x3FFF) + 1)};
    }
    if (chunk == "VP8X") {
        return OTSize{static_cast<double>(littleEndian(d, 24, 3) + 1), static_cast<double>(littleEndian(d, 27, 3) + 1)};
    }
    return std::nullopt;
}
}  // namespace

std::optional<OTSize> OTImage::sizeOfImageData(std::string_view d) {
    std::optional<OTSize> size;
    if (d.size() >= 24 && d.substr(0, 8) == "\x89PNG\r\n\x1a\n" && d.substr(12, 4) == "IHDR") {
        size = OTSize{static_cast<double>(bigEndian(d, 16, 4)), static_cast<double>(bigEndian(d, 20, 4))};
    } else if (d.size() >= 10 && (d.substr(0, 6) == "GIF87a" || d.substr(0, 6) == "GIF89a")) {
        size = OTSize{static_cast<double>(littleEndian(d, 6, 2)), static_cast<double>(littleEndian(d, 8, 2))};
    } else if (d.size() >= 4 && static_cast<unsigned char>(d[0]) == 0xFF && static_cast<unsigned char>(d[1]) == 0xD8) {
        size = sizeOfJPEG(d);
    } else if (d.size() >= 12 && d.substr(0, 4) == "RIFF" && d.substr(8, 4) == "WEBP") {
        size = sizeOfWebP(d);
    }
    if (!size || size->width <= 0 || size->height <= 0) return std::nullopt;
    return size;
}

std::shared_ptr<OTImage> OTImage::imageWithData(std::string data) {
    const auto size = sizeOfImageData(data);
    if (!size) return nullptr;
    return std::make_shared<OTImage>(std::move(data), *size);
}

}  // namespace corvane
