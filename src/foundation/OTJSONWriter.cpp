#include "foundation/OTJSONWriter.h"

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "foundation/OTDescription.h"
#include "foundation/OTJSONLimits.h"

namespace corvane {

namespace {
// Length of the UTF-8 sequence starting at `i`, or 0 when it is not valid UTF-8.
std::size_t utf8Length(const std::string& text, std::size_t i) {
    const auto c = static_cast<unsigned char>(text[i]);
    std::size_t n = 0;
    std::uint32_t code = 0;
    if (c < 0x80) return 1;
    if ((c & 0xE0) == 0xC0) {
        n = 2;
        code = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
        n = 3;
        code = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
        n = 4;
        code = c & 0x07;
    } else {
        return 0;
    }
    if (i + n > text.size()) return 0;
    for (std::size_t k = 1; k < n; ++k) {
        const auto d = static_cast<unsigned char>(text[i + k]);
        if ((d & 0xC0) != 0x80) return 0;
        code = (code << 6) | (d & 0x3F);
    }
    static constexpr std::uint32_t kMin[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < kMin[n] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) return 0;
    return n;
}
}  // namespace

std::optional<std::string> OTJSONWriter::prettyString(const nlohmann::json& value) {
    if (!value.is_object() && !value.is_array()) return std::nullopt;
    std::string out;
    if (!write(out, value, 0)) return std::nullopt;
    return out;
}

bool OTJSONWriter::writeString(std::string& out, const std::string& text) {
    out += '"';
    for (std::size_t i = 0; i < text.size();) {
        const char c = text[i];
        const std::size_t n = utf8Length(text, i);
        if (n == 0) return false;
        if (n > 1) {
            out.append(text, i, n);
            i += n;
            continue;
        }
        switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            case '\b': out += "\\b"; break;
            case '\f': out += "\\f"; break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
                    out += escaped;
                } else {
                    out += c;
                }
        }
        ++i;
    }
    out += '"';
    return true;
}

bool OTJSONWriter::write(std::string& out, const nlohmann::json& value, int indent) {
    if (value.is_structured() && indent >= static_cast<int>(OTJSONLimits::kMaxDepth)) return false;
    const std::string inner(static_cast<std::size_t>(indent + 1) * 2, ' ');
    const std::string outer(static_cast<std::size_t>(indent) * 2, ' ');
    switch (value.type()) {
        case nlohmann::json::value_t::null: out += "null"; return true;
        case nlohmann::json::value_t::boolean: out += value.get<bool>() ? "true" : "false"; return true;
        case nlohmann::json::value_t::string: return writeString(out, value.get_ref<const std::string&>());
        case nlohmann::json::value_t::number_float:
            if (!std::isfinite(value.get<double>())) return false;
            out += OTDescription::numberText(value);
            return true;
        case nlohmann::json::value_t::number_integer:
        case nlohmann::json::value_t::number_unsigned: out += OTDescription::numberText(value); return true;
        case nlohmann::json::value_t::array: {
            out += "[\n";
            bool first = true;
            for (const auto& item : value) {
                if (!first) out += ",\n";
                first = false;
                out += inner;
                if (!write(out, item, indent + 1)) return false;
            }
            out += "\n" + outer + "]";
            return true;
        }
        case nlohmann::json::value_t::object: {
            out += "{\n";
            bool first = true;
            for (const auto& [key, item] : value.items()) {
                if (!first) out += ",\n";
                first = false;
                out += inner;
                if (!writeString(out, key)) return false;
                out += " : ";
                if (!write(out, item, indent + 1)) return false;
            }
            out += "\n" + outer + "}";
            return true;
        }
        default: return false;
    }
}

}  // namespace corvane
