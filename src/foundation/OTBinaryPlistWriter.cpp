#include "foundation/OTBinaryPlistWriter.h"

#include <bit>

#include "foundation/OTFiles.h"

namespace corvane {

namespace {
constexpr std::int64_t kPlistEpochOffsetMicros = 978307200LL * 1000000;  // 2001-01-01 since 1970

void appendBigEndian(std::string& out, std::uint64_t value, std::size_t width) {
    for (std::size_t i = width; i-- > 0;) out += static_cast<char>((value >> (8 * i)) & 0xFF);
}

// The marker byte with its count: in the low nibble, or 0xF followed by an integer object.
void appendMarker(std::string& out, std::uint8_t type, std::size_t count) {
    if (count < 15) {
        out += static_cast<char>((type << 4) | count);
        return;
    }
    out += static_cast<char>((type << 4) | 0x0F);
    if (count < 0x100) {
        out += '\x10';
        appendBigEndian(out, count, 1);
    } else if (count < 0x10000) {
        out += '\x11';
        appendBigEndian(out, count, 2);
    } else if (count <= 0xFFFFFFFFu) {
        out += '\x12';
        appendBigEndian(out, count, 4);
    } else {
        out += '\x13';
        appendBigEndian(out, count, 8);
    }
}

// UTF-16 code units of UTF-8 text; malformed bytes become U+FFFD.
std::vector<std::uint16_t> utf16(std::string_view text) {
    std::vector<std::uint16_t> units;
    for (std::size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        std::uint32_t code = 0xFFFD;
        std::size_t n = 1;
        if (c < 0x80) {
            code = c;
        } else if ((c & 0xE0) == 0xC0 || (c & 0xF0) == 0xE0 || (c & 0xF8) == 0xF0) {
            n = (c & 0xE0) == 0xC0 ? 2 : ((c & 0xF0) == 0xE0 ? 3 : 4);
            std::uint32_t value = c & (n == 2 ? 0x1F : (n == 3 ? 0x0F : 0x07));
            bool ok = i + n <= text.size();
            for (std::size_t k = 1; ok && k < n; ++k) {
                const auto d = static_cast<unsigned char>(text[i + k]);
                ok = (d & 0xC0) == 0x80;
                value = (value << 6) | (d & 0x3F);
            }
            if (ok && value <= 0x10FFFF && !(value >= 0xD800 && value < 0xE000)) code = value;
            else n = 1;
        }
        i += n;
        if (code >= 0x10000) {
            code -= 0x10000;
            units.push_back(static_cast<std::uint16_t>(0xD800 + (code >> 10)));
            units.push_back(static_cast<std::uint16_t>(0xDC00 + (code & 0x3FF)));
        } else {
            units.push_back(static_cast<std::uint16_t>(code));
        }
    }
    return units;
}

// The number of objects a value writes as (dictionary keys too), or nothing past the reader's
// node limit.
std::optional<std::size_t> objectCount(const OTPropertyList& value, std::size_t count = 0) {
    if (++count > OTPropertyList::kMaxNodes) return std::nullopt;
    if (const auto* array = value.get<OTPropertyList::Array>()) {
        for (const auto& item : *array) {
            const auto total = objectCount(item, count);
            if (!total) return std::nullopt;
            count = *total;
        }
    } else if (const auto* dict = value.get<OTPropertyList::Dictionary>()) {
        for (const auto& [key, item] : *dict) {
            const auto total = objectCount(item, count + 1);
            if (!total) return std::nullopt;
            count = *total;
        }
    }
    return count;
}

// Counting first keeps small lists small: one byte per reference below 256 objects.
std::size_t narrowestRefSize(std::size_t objects) { return objects < 0x100 ? 1 : (objects < 0x10000 ? 2 : 4); }
}  // namespace

static_assert(OTFiles::kMaxReadBytes <= 0xFFFFFFFFu);

OTBinaryPlistWriter::OTBinaryPlistWriter(std::size_t refSize) : refSize_(refSize) { chunks_.emplace_back("bplist00"); }

std::optional<std::string> OTBinaryPlistWriter::write(const OTPropertyList& root) {
    const auto count = objectCount(root);
    if (!count) return std::nullopt;
    OTBinaryPlistWriter writer(narrowestRefSize(*count));
    const auto top = writer.add(root, 0);
    return writer.finishText(top);
}

std::optional<std::vector<std::string>> OTBinaryPlistWriter::encode(const OTPropertyList& root) {
    const auto count = objectCount(root);
    if (!count) return std::nullopt;
    OTBinaryPlistWriter writer(narrowestRefSize(*count));
    const auto top = writer.add(root, 0);
    return writer.finish(top);
}

std::optional<std::string> OTBinaryPlistWriter::finishText(Ref top) {
    auto pieces = finish(top);
    if (!pieces) return std::nullopt;
    std::size_t size = 0;
    for (const auto& piece : *pieces) size += piece.size();
    std::string out;
    out.reserve(size);
    for (auto& piece : *pieces) {
        out += piece;
        piece = {};
    }
    return out;
}

std::string* OTBinaryPlistWriter::begin(std::size_t depth) {
    const std::uint64_t size = sealed_ + chunks_.back().size();
    const bool refsFull = refSize_ < 8 && (offsets_.size() >> (8 * refSize_)) != 0;
    if (depth > OTPropertyList::kMaxDepth || offsets_.size() >= OTPropertyList::kMaxNodes || refsFull ||
        size > OTFiles::kMaxReadBytes) {
        failed_ = true;
    }
    if (failed_) return nullptr;
    if (chunks_.back().size() >= kChunkBytes) {
        sealed_ = size;
        chunks_.emplace_back().reserve(kChunkBytes + kChunkBytes / 8);
    }
    offsets_.push_back(static_cast<std::uint32_t>(size));
    return &chunks_.back();
}

void OTBinaryPlistWriter::appendRef(std::string& out, Ref ref) const { appendBigEndian(out, ref, refSize_); }

OTBinaryPlistWriter::Ref OTBinaryPlistWriter::addString(std::string_view text) {
    // The key of a dictionary sits one level below it; texts never hold others, so no depth limit
    // applies to them that did not apply to their container.
    auto* out = begin(0);
    if (out == nullptr) return 0;
    bool ascii = true;
    for (char c : text) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    if (ascii) {
        appendMarker(*out, 0x5, text.size());
        *out += text;
    } else {
        const auto units = utf16(text);
        appendMarker(*out, 0x6, units.size());
        for (auto unit : units) appendBigEndian(*out, unit, 2);
    }
    return offsets_.size() - 1;
}

OTBinaryPlistWriter::Ref OTBinaryPlistWriter::addInteger(std::int64_t value) {
    auto* out = begin(0);
    if (out == nullptr) return 0;
    // Narrow integers are unsigned; negatives and large values take eight bytes.
    if (value >= 0 && value < 0x100) {
        *out += '\x10';
        appendBigEndian(*out, static_cast<std::uint64_t>(value), 1);
    } else if (value >= 0 && value < 0x10000) {
        *out += '\x11';
        appendBigEndian(*out, static_cast<std::uint64_t>(value), 2);
    } else if (value >= 0 && value <= 0xFFFFFFFFLL) {
        *out += '\x12';
        appendBigEndian(*out, static_cast<std::uint64_t>(value), 4);
    } else {
        *out += '\x13';
        appendBigEndian(*out, static_cast<std::uint64_t>(value), 8);
    }
    return offsets_.size() - 1;
}

OTBinaryPlistWriter::Ref OTBinaryPlistWriter::addArray(std::span<const Ref> items, std::size_t depth) {
    auto* out = begin(depth);
    if (out == nullptr) return 0;
    appendMarker(*out, 0xA, items.size());
    for (auto ref : items) appendRef(*out, ref);
    return offsets_.size() - 1;
}

OTBinaryPlistWriter::Ref OTBinaryPlistWriter::addDictionary(std::span<const Ref> keys, std::span<const Ref> values,
                                                            std::size_t depth) {
    if (keys.size() != values.size()) failed_ = true;
    auto* out = begin(depth);
    if (out == nullptr) return 0;
    appendMarker(*out, 0xD, keys.size());
    for (auto ref : keys) appendRef(*out, ref);
    for (auto ref : values) appendRef(*out, ref);
    return offsets_.size() - 1;
}

OTBinaryPlistWriter::Ref OTBinaryPlistWriter::add(const OTPropertyList& value, std::size_t depth) {
    if (depth > OTPropertyList::kMaxDepth) failed_ = true;
    if (failed_) return 0;
    switch (value.kind()) {
        case OTPropertyList::Kind::String: return addString(*value.get<std::string>());
        case OTPropertyList::Kind::Integer: return addInteger(*value.get<std::int64_t>());
        case OTPropertyList::Kind::Array: {
            std::vector<Ref> refs;
            refs.reserve(value.get<OTPropertyList::Array>()->size());
            for (const auto& item : *value.get<OTPropertyList::Array>()) refs.push_back(add(item, depth + 1));
            return addArray(refs, depth);
        }
        case OTPropertyList::Kind::Dictionary: {
            const auto& dict = *value.get<OTPropertyList::Dictionary>();
            std::vector<Ref> keys;
            std::vector<Ref> values;
            keys.reserve(dict.size());
            values.reserve(dict.size());
            for (const auto& [key, item] : dict) {
                keys.push_back(addString(key));
                values.push_back(add(item, depth + 1));
            }
            return addDictionary(keys, values, depth);
        }
        default: break;
    }
    auto* out = begin(depth);
    if (out == nullptr) return 0;
    switch (value.kind()) {
        case OTPropertyList::Kind::Boolean: *out += *value.get<bool>() ? '\x09' : '\x08'; break;
        case OTPropertyList::Kind::Real:
            *out += '\x23';
            appendBigEndian(*out, std::bit_cast<std::uint64_t>(*value.get<double>()), 8);
            break;
        case OTPropertyList::Kind::Date: {
            // Whole microseconds first, so that dates far from 2001 keep microsecond precision.
            const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(
                                    value.get<OTPropertyList::Date>()->time_since_epoch())
                                    .count() -
                                kPlistEpochOffsetMicros;
            const double seconds = static_cast<double>(micros) / 1e6;
            *out += '\x33';
            appendBigEndian(*out, std::bit_cast<std::uint64_t>(seconds), 8);
            break;
        }
        case OTPropertyList::Kind::Data: {
            const auto& data = *value.get<OTPropertyList::Data>();
            appendMarker(*out, 0x4, data.size());
            out->append(reinterpret_cast<const char*>(data.data()), data.size());
            break;
        }
        default: break;
    }
    return offsets_.size() - 1;
}

std::optional<std::vector<std::string>> OTBinaryPlistWriter::finish(Ref top) {
    if (failed_ || top >= offsets_.size()) return std::nullopt;
    const std::uint64_t table = sealed_ + chunks_.back().size();
    const std::size_t offsetSize = table < 0x100 ? 1 : (table < 0x10000 ? 2 : 4);
    if (table + offsets_.size() * offsetSize + OTPropertyList::kBinaryTrailerSize > OTFiles::kMaxReadBytes)
        return std::nullopt;
    std::string& trailer = chunks_.emplace_back();
    trailer.reserve(offsets_.size() * offsetSize + OTPropertyList::kBinaryTrailerSize);
    for (auto offset : offsets_) appendBigEndian(trailer, offset, offsetSize);
    trailer.append(6, '\0');
    trailer += static_cast<char>(offsetSize);
    trailer += static_cast<char>(refSize_);
    appendBigEndian(trailer, offsets_.size(), 8);
    appendBigEndian(trailer, top, 8);
    appendBigEndian(trailer, table, 8);
    offsets_ = {};
    return std::move(chunks_);
}

}  // namespace corvane
