#include "foundation/OTBinaryPlistReader.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "foundation/OTFiles.h"

namespace corvane {

namespace {
constexpr std::int64_t kPlistEpochOffset = 978307200;  // 2001-01-01 in seconds since 1970

void appendUtf8(std::string& out, std::uint32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}
}  // namespace

std::optional<OTPropertyList> OTBinaryPlistReader::read(std::string_view bytes) {
    auto reader = open(bytes);
    if (!reader) return std::nullopt;
    return reader->object(reader->topObject_, 0);
}

std::optional<OTBinaryPlistReader> OTBinaryPlistReader::open(std::string_view bytes) {
    if (bytes.size() > OTFiles::kMaxReadBytes) return std::nullopt;
    if (bytes.size() < OTPropertyList::kBinaryHeaderSize + OTPropertyList::kBinaryTrailerSize ||
        bytes.substr(0, 8) != "bplist00")
        return std::nullopt;
    OTBinaryPlistReader reader(bytes);
    if (!reader.readTrailer()) return std::nullopt;
    reader.byteBudget_ = bytes.size();
    reader.onPath_.assign(static_cast<std::size_t>(reader.objectCount_), false);
    return reader;
}

std::optional<OTPropertyList> OTBinaryPlistReader::value(Ref ref, std::size_t depth) { return object(ref, depth); }

std::optional<std::pair<std::uint64_t, std::size_t>> OTBinaryPlistReader::container(Ref ref, std::uint8_t type,
                                                                                    std::size_t depth) {
    if (depth > OTPropertyList::kMaxDepth || budget_ == 0) return std::nullopt;
    auto offset = objectOffset(ref);
    if (!offset) return std::nullopt;
    std::size_t at = static_cast<std::size_t>(*offset);
    const auto marker = static_cast<std::uint8_t>(bytes_[at++]);
    if ((marker >> 4) != type) return std::nullopt;
    --budget_;
    auto count = countAfter(marker & 0x0F, at);
    const std::uint64_t refs = type == 0xD ? 2 : 1;
    const std::size_t limit = static_cast<std::size_t>(offsetTable_);
    if (!count || *count > (limit - at) / refSize_ / refs) return std::nullopt;
    if (!charge(at - *offset + *count * refSize_ * refs)) return std::nullopt;
    return std::make_pair(*count, at);
}

std::optional<std::vector<OTBinaryPlistReader::Ref>> OTBinaryPlistReader::arrayAt(Ref ref, std::size_t depth) {
    const auto found = container(ref, 0xA, depth);
    if (!found) return std::nullopt;
    const auto [count, at] = *found;
    std::vector<Ref> refs;
    refs.reserve(static_cast<std::size_t>(count));
    for (std::uint64_t i = 0; i < count; ++i) refs.push_back(*refAt(at + i * refSize_));
    return refs;
}

std::optional<OTBinaryPlistReader::Entries> OTBinaryPlistReader::dictionaryAt(Ref ref, std::size_t depth) {
    const auto found = container(ref, 0xD, depth);
    if (!found) return std::nullopt;
    const auto [count, at] = *found;
    Entries entries;
    entries.reserve(static_cast<std::size_t>(count));
    for (std::uint64_t i = 0; i < count; ++i) {
        auto key = object(*refAt(at + i * refSize_), depth + 1);
        auto* name = key ? key->get<std::string>() : nullptr;
        if (name == nullptr) return std::nullopt;
        entries.emplace_back(std::move(*name), *refAt(at + (count + i) * refSize_));
    }
    return entries;
}

bool OTBinaryPlistReader::readTrailer() {
    const std::size_t t = bytes_.size() - OTPropertyList::kBinaryTrailerSize;
    offsetSize_ = static_cast<std::uint8_t>(bytes_[t + 6]);
    refSize_ = static_cast<std::uint8_t>(bytes_[t + 7]);
    auto count = unsignedAt(t + 8, 8);
    auto top = unsignedAt(t + 16, 8);
    auto table = unsignedAt(t + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8 || !count || !top || !table) return false;
    objectCount_ = *count;
    topObject_ = *top;
    offsetTable_ = *table;
    // Every object takes at least one byte, and the offset table must fit before the trailer.
    if (objectCount_ == 0 || objectCount_ > bytes_.size() || topObject_ >= objectCount_) return false;
    if (offsetTable_ < OTPropertyList::kBinaryHeaderSize || offsetTable_ > t ||
        (t - offsetTable_) / offsetSize_ < objectCount_)
        return false;
    return true;
}

bool OTBinaryPlistReader::charge(std::uint64_t bytes) {
    if (bytes > byteBudget_) return false;
    byteBudget_ -= static_cast<std::size_t>(bytes);
    return true;
}

std::optional<std::uint64_t> OTBinaryPlistReader::unsignedAt(std::size_t at, std::size_t width) const {
    if (width == 0 || width > 8 || at > bytes_.size() || bytes_.size() - at < width) return std::nullopt;
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value = (value << 8) | static_cast<std::uint8_t>(bytes_[at + i]);
    return value;
}

std::optional<std::uint64_t> OTBinaryPlistReader::objectOffset(std::uint64_t ref) const {
    if (ref >= objectCount_) return std::nullopt;
    auto offset = unsignedAt(static_cast<std::size_t>(offsetTable_ + ref * offsetSize_), offsetSize_);
    if (!offset || *offset < OTPropertyList::kBinaryHeaderSize || *offset >= offsetTable_) return std::nullopt;
    return offset;
}

std::optional<std::uint64_t> OTBinaryPlistReader::countAfter(std::uint8_t info, std::size_t& at) const {
    if (info != 0x0F) return info;
    auto marker = unsignedAt(at, 1);
    if (!marker || (*marker & 0xF0) != 0x10) return std::nullopt;
    const std::size_t width = std::size_t{1} << (*marker & 0x0F);
    auto count = unsignedAt(at + 1, width);
    // The count ends before the offset table, as its object does: what follows is measured from it.
    if (!count || at + 1 + width > offsetTable_) return std::nullopt;
    at += 1 + width;
    return count;
}

std::optional<OTPropertyList> OTBinaryPlistReader::object(std::uint64_t ref, std::size_t depth) {
    if (depth > OTPropertyList::kMaxDepth || budget_ == 0) return std::nullopt;
    auto offset = objectOffset(ref);
    if (!offset) return std::nullopt;
    std::size_t at = static_cast<std::size_t>(*offset);
    const auto marker = static_cast<std::uint8_t>(bytes_[at++]);
    const std::uint8_t type = marker >> 4;
    const std::uint8_t info = marker & 0x0F;
    const std::size_t limit = static_cast<std::size_t>(offsetTable_);
    if (type == 0xA || type == 0xD) return containerValue(ref, type, depth);
    --budget_;

    switch (type) {
        case 0x0:
            if (!charge(1)) return std::nullopt;
            if (marker == 0x08) return OTPropertyList(false);
            if (marker == 0x09) return OTPropertyList(true);
            return std::nullopt;
        case 0x1: {
            if (info > 4) return std::nullopt;
            const std::size_t width = std::size_t{1} << info;
            // 16-byte integers carry 64-bit values in their low half.
            auto value = width == 16 ? unsignedAt(at + 8, 8) : unsignedAt(at, width);
            if (!value || at + width > limit || !charge(1 + width)) return std::nullopt;
            // Narrow integers are unsigned; 8-byte ones are two's complement.
            return OTPropertyList(static_cast<std::int64_t>(*value));
        }
        case 0x2: {
            if (info != 2 && info != 3) return std::nullopt;
            const std::size_t width = std::size_t{1} << info;
            auto raw = unsignedAt(at, width);
            if (!raw || at + width > limit || !charge(1 + width)) return std::nullopt;
            if (width == 4)
                return OTPropertyList(static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(*raw))));
            return OTPropertyList(std::bit_cast<double>(*raw));
        }
        case 0x3: {
            auto raw = unsignedAt(at, 8);
            if (marker != 0x33 || !raw || at + 8 > limit || !charge(9)) return std::nullopt;
            const double seconds = std::bit_cast<double>(*raw);
            // Only what a time point of nanoseconds since 1970 can hold (about 1678 to 2262).
            const double since1970 = seconds + static_cast<double>(kPlistEpochOffset);
            if (!(since1970 > -9.0e9 && since1970 < 9.0e9)) return std::nullopt;
            const auto micros = std::llround(seconds * 1e6) + kPlistEpochOffset * 1'000'000;
            return OTPropertyList(OTPropertyList::Date(
                std::chrono::duration_cast<OTPropertyList::Date::duration>(std::chrono::microseconds(micros))));
        }
        case 0x4: {
            auto length = countAfter(info, at);
            if (!length || *length > limit - at || !charge(at - *offset + *length)) return std::nullopt;
            const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes_.data() + at);
            return OTPropertyList(OTPropertyList::Data(begin, begin + *length));
        }
        case 0x5: {
            auto length = countAfter(info, at);
            if (!length || *length > limit - at || !charge(at - *offset + *length)) return std::nullopt;
            // An ASCII text holds no byte above 0x7F; any such byte reads as U+FFFD, so that every
            // text read is valid UTF-8 (and writes back as it reads).
            const auto ascii = bytes_.substr(at, static_cast<std::size_t>(*length));
            if (std::all_of(ascii.begin(), ascii.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
                return OTPropertyList(std::string(ascii));
            }
            std::string text;
            text.reserve(ascii.size());
            for (const char c : ascii) {
                if (static_cast<unsigned char>(c) < 0x80) text += c;
                else appendUtf8(text, 0xFFFD);
            }
            return OTPropertyList(std::move(text));
        }
        case 0x6: {
            auto units = countAfter(info, at);
            if (!units || *units > (limit - at) / 2 || !charge(at - *offset + *units * 2)) return std::nullopt;
            std::string text;
            text.reserve(static_cast<std::size_t>(*units) * 3);
            for (std::uint64_t i = 0; i < *units; ++i) {
                std::uint32_t unit = static_cast<std::uint32_t>(*unsignedAt(at + 2 * i, 2));
                if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < *units) {
                    const auto low = static_cast<std::uint32_t>(*unsignedAt(at + 2 * (i + 1), 2));
                    if (low >= 0xDC00 && low < 0xE000) {
                        unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                        ++i;
                    }
                }
                if (unit >= 0xD800 && unit < 0xE000) unit = 0xFFFD;  // a lone surrogate
                appendUtf8(text, unit);
            }
            return OTPropertyList(std::move(text));
        }
        default: return std::nullopt;
    }
}

std::optional<OTPropertyList> OTBinaryPlistReader::containerValue(Ref ref, std::uint8_t type, std::size_t depth) {
    if (onPath_[static_cast<std::size_t>(ref)]) return std::nullopt;  // a container inside itself
    onPath_[static_cast<std::size_t>(ref)] = true;
    std::optional<OTPropertyList> result;
    if (type == 0xA) {
        if (const auto refs = arrayAt(ref, depth)) {
            OTPropertyList::Array array;
            array.reserve(refs->size());
            for (const auto item : *refs) {
                auto child = object(item, depth + 1);
                if (!child) break;
                array.push_back(std::move(*child));
            }
            if (array.size() == refs->size()) result = OTPropertyList(std::move(array));
        }
    } else if (auto entries = dictionaryAt(ref, depth)) {
        OTPropertyList::Dictionary dict;
        bool complete = true;
        for (auto& [key, item] : *entries) {
            auto child = object(item, depth + 1);
            complete = child.has_value();
            if (!complete) break;
            dict.insert_or_assign(std::move(key), std::move(*child));
        }
        if (complete) result = OTPropertyList(std::move(dict));
    }
    onPath_[static_cast<std::size_t>(ref)] = false;
    return result;
}

}  // namespace corvane
