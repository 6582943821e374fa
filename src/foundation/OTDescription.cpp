#include "foundation/OTDescription.h"

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "foundation/OTJSONLimits.h"

namespace corvane {

// The text being written, kept to its limit: past it, pieces are only counted.
struct OTDescription::Out {
    std::string text;
    std::size_t limit = std::string::npos;
    std::size_t omitted = 0;

    Out& operator+=(std::string_view piece) {
        if (omitted > 0 || text.size() + piece.size() <= limit) {
            if (omitted > 0) omitted += piece.size();
            else text += piece;
            return *this;
        }
        std::size_t kept = limit - text.size();
        // The rest of a character whose first byte is kept stays with it.
        while (kept < piece.size() && (static_cast<unsigned char>(piece[kept]) & 0xC0) == 0x80) ++kept;
        text += piece.substr(0, kept);
        omitted += piece.size() - kept;
        return *this;
    }
    Out& operator+=(char c) { return *this += std::string_view(&c, 1); }
};

namespace {
bool needsQuotes(const std::string& text) {
    if (text.empty()) return true;
    for (unsigned char c : text) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                           c == '$' || c == '.' || c == '/' || c == ':' || c == '-' || c >= 0x80;
        if (!plain) return true;
    }
    return false;
}

template <class Out>
void appendQuoted(Out& out, const std::string& text) {
    if (!needsQuotes(text)) {
        out += text;
        return;
    }
    out += '"';
    for (char c : text) {
        switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\t': out += "\\t"; break;
            case '\r': out += "\\r"; break;
            default: out += c;
        }
    }
    out += '"';
}
}  // namespace

std::string OTDescription::numberText(const nlohmann::json& number) {
    if (number.is_boolean()) return number.get<bool>() ? "1" : "0";
    if (number.is_number_integer()) return std::to_string(number.get<std::int64_t>());
    if (number.is_number_unsigned()) return std::to_string(number.get<std::uint64_t>());
    if (!number.is_number_float()) return "";
    const double value = number.get<double>();
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
    if (value == std::floor(value) && std::fabs(value) < 1e15) {
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%.0f", value);
        return buffer;
    }
    return number.dump();
}

std::string OTDescription::describe(const nlohmann::json& value) {
    if (value.is_string()) return value.get_ref<const std::string&>();
    Out out;
    append(out, value, 0, false);
    return std::move(out.text);
}

std::string OTDescription::describe(const nlohmann::json& value, std::size_t limit, std::size_t& omitted) {
    Out out;
    out.limit = limit;
    append(out, value, 0, false);
    omitted = out.omitted;
    return std::move(out.text);
}

void OTDescription::append(Out& out, const nlohmann::json& value, int indent, bool nested) {
    // Each level costs an indent per line, so deeper levels are elided.
    if (value.is_structured() && indent >= static_cast<int>(OTJSONLimits::kMaxDepth)) {
        out += value.is_array() ? "(...)" : "{...}";
        return;
    }
    const std::string pad(static_cast<std::size_t>(indent) * 4, ' ');
    switch (value.type()) {
        case nlohmann::json::value_t::null: out += nested ? "\"<null>\"" : "<null>"; return;
        case nlohmann::json::value_t::boolean: out += value.get<bool>() ? "1" : "0"; return;
        case nlohmann::json::value_t::string:
            if (nested) appendQuoted(out, value.get_ref<const std::string&>());
            else out += value.get_ref<const std::string&>();
            return;
        case nlohmann::json::value_t::binary: {
            static constexpr char kHex[] = "0123456789abcdef";
            out += '{';
            out += "length = " + std::to_string(value.get_binary().size()) + ", bytes = 0x";
            std::size_t shown = 0;
            for (auto byte : value.get_binary()) {
                if (shown++ == 24) {
                    out += "...";
                    break;
                }
                out += kHex[byte >> 4];
                out += kHex[byte & 0xF];
            }
            out += '}';
            return;
        }
        case nlohmann::json::value_t::array: {
            out += "(\n";
            bool first = true;
            for (const auto& item : value) {
                if (!first) out += ",\n";
                first = false;
                out += pad + "    ";
                append(out, item, indent + 1, true);
            }
            if (!first) out += '\n';
            out += pad + ")";
            return;
        }
        case nlohmann::json::value_t::object: {
            out += "{\n";
            for (const auto& [key, item] : value.items()) {
                out += pad + "    ";
                appendQuoted(out, key);
                out += " = ";
                // Nested collections open on the key's line, indented the platform's odd way.
                if (item.is_structured()) out += std::string(static_cast<std::size_t>(indent + 1) * 4, ' ');
                append(out, item, indent + 1, true);
                out += ";\n";
            }
            out += pad + "}";
            return;
        }
        default: out += numberText(value); return;
    }
}

}  // namespace corvane
