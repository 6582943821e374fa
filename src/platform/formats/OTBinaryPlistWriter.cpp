#include "platform/formats/OTBinaryPlistWriter.h"

#include <bit>

#include "platform/OTSandbox.h"

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
std::vector<std::uint16_t> utf16(const std::string& text) {
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
}  // namespace

std::optional<std::string> OTBinaryPlistWriter::write(const OTPropertyList& root) {
    OTBinaryPlistWriter writer;
    std::size_t count = 0;
    if (!writer.countObjects(root, 0, count)) return std::nullopt;
    writer.refSize_ = count < 0x100 ? 1 : (count < 0x10000 ? 2 : 4);
    writer.objects_.reserve(count);
    writer.add(root);

    std::string out = "bplist00";
    std::vector<std::uint64_t> offsets;
    offsets.reserve(writer.objects_.size());
    for (const auto& object : writer.objects_) {
        offsets.push_back(out.size());
        out += object;
    }
    const std::uint64_t table = out.size();
    const std::size_t offsetSize = table < 0x100 ? 1 : (table < 0x10000 ? 2 : (table <= 0xFFFFFFFFu ? 4 : 8));
    for (auto offset : offsets) appendBigEndian(out, offset, offsetSize);
    out.append(6, '\0');
    out += static_cast<char>(offsetSize);
    out += static_cast<char>(writer.refSize_);
    appendBigEndian(out, writer.objects_.size(), 8);
    appendBigEndian(out, 0, 8);
    appendBigEndian(out, table, 8);
    if (out.size() > OTSandbox::kMaxReadBytes) return std::nullopt;
    return out;
}

bool OTBinaryPlistWriter::countObjects(const OTPropertyList& value, std::size_t depth, std::size_t& count) const {
    // The reader's limits: every object (dictionary keys too) counts, and none may sit deeper
    // than the depth limit.
    if (depth > OTPropertyList::kMaxDepth || ++count > OTPropertyList::kMaxNodes) return false;
    if (const auto* array = value.get<OTPropertyList::Array>()) {
        for (const auto& item : *array) {
            if (!countObjects(item, depth + 1, count)) return false;
        }
    } else if (const auto* dict = value.get<OTPropertyList::Dictionary>()) {
        for (const auto& [key, item] : *dict) {
            if (++count > OTPropertyList::kMaxNodes || !countObjects(item, depth + 1, count)) return false;
        }
    }
    return true;
}

void OTBinaryPlistWriter::appendRef(std::string& out, std::size_t ref) const { appendBigEndian(out, ref, refSize_); }

std::size_t OTBinaryPlistWriter::addString(const std::string& text) {
    const std::size_t id = objects_.size();
    objects_.emplace_back();
    std::string& out = objects_.back();
    bool ascii = true;
    for (char c : text) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    if (ascii) {
        appendMarker(out, 0x5, text.size());
        out += text;
    } else {
        const auto units = utf16(text);
        appendMarker(out, 0x6, units.size());
        for (auto unit : units) appendBigEndian(out, unit, 2);
    }
    return id;
}

std::size_t OTBinaryPlistWriter::add(const OTPropertyList& value) {
    switch (value.kind()) {
        case OTPropertyList::Kind::String: return addString(*value.get<std::string>());
        case OTPropertyList::Kind::Array: {
            const std::size_t id = objects_.size();
            objects_.emplace_back();
            std::vector<std::size_t> refs;
            for (const auto& item : *value.get<OTPropertyList::Array>()) refs.push_back(add(item));
            std::string out;
            appendMarker(out, 0xA, refs.size());
            for (auto ref : refs) appendRef(out, ref);
            objects_[id] = std::move(out);
            return id;
        }
        case OTPropertyList::Kind::Dictionary: {
            const std::size_t id = objects_.size();
            objects_.emplace_back();
            std::vector<std::size_t> keys;
            std::vector<std::size_t> values;
            for (const auto& [key, item] : *value.get<OTPropertyList::Dictionary>()) {
                keys.push_back(addString(key));
                values.push_back(add(item));
            }
            std::string out;
            appendMarker(out, 0xD, keys.size());
            for (auto ref : keys) appendRef(out, ref);
            for (auto ref : values) appendRef(out, ref);
            objects_[id] = std::move(out);
            return id;
        }
        default: break;
    }
    const std::size_t id = objects_.size();
    objects_.emplace_back();
    std::string& out = objects_.back();
    switch (value.kind()) {
        case OTPropertyList::Kind::Boolean: out += *value.get<bool>() ? '\x09' : '\x08'; break;
        case OTPropertyList::Kind::Integer: {
            const std::int64_t v = *value.get<std::int64_t>();
            // Narrow integers are unsigned; negatives and large values take eight bytes.
            if (v >= 0 && v < 0x100) {
                out += '\x10';
                appendBigEndian(out, static_cast<std::uint64_t>(v), 1);
            } else if (v >= 0 && v < 0x10000) {
                out += '\x11';
                appendBigEndian(out, static_cast<std::uint64_t>(v), 2);
            } else if (v >= 0 && v <= 0xFFFFFFFFLL) {
                out += '\x12';
                appendBigEndian(out, static_cast<std::uint64_t>(v), 4);
            } else {
                out += '\x13';
                appendBigEndian(out, static_cast<std::uint64_t>(v), 8);
            }
            break;
        }
        case OTPropertyList::Kind::Real:
            out += '\x23';
            appendBigEndian(out, std::bit_cast<std::uint64_t>(*value.get<double>()), 8);
            break;
        case OTPropertyList::Kind::Date: {
            // Whole microseconds first, so that dates far from 2001 keep microsecond precision.
            const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(
                                    value.get<OTPropertyList::Date>()->time_since_epoch())
                                    .count() -
                                kPlistEpochOffsetMicros;
            const double seconds = static_cast<double>(micros) / 1e6;
            out += '\x33';
            appendBigEndian(out, std::bit_cast<std::uint64_t>(seconds), 8);
            break;
        }
        case OTPropertyList::Kind::Data: {
            const auto& data = *value.get<OTPropertyList::Data>();
            appendMarker(out, 0x4, data.size());
            out.append(reinterpret_cast<const char*>(data.data()), data.size());
            break;
        }
        default: break;
    }
    return id;
}

}  // namespace corvane
