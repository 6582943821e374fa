#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace corvane {

// JSON text the way the platform's serializer pretty-prints it: two-space indentation, "key" : value,
// keys in sorted order. Only a list or a dictionary can be written; a value holding invalid UTF-8,
// a non-finite number, binary data or nesting deeper than the JSON depth limit gives nothing.
class OTJSONWriter {
public:
    static std::optional<std::string> prettyString(const nlohmann::json& value);

private:
    static bool write(std::string& out, const nlohmann::json& value, int indent);
    static bool writeString(std::string& out, const std::string& text);
};

}  // namespace corvane
