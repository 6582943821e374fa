#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace corvane {

// Text descriptions of values in the platform's style, as `%@` prints them: a text is itself,
// null is "<null>", true and false are 1 and 0, dictionaries and lists take the nested
// "{\n    key = value;\n}" and "(\n    item\n)" forms. Collections deeper than the JSON depth
// limit print as "{...}" and "(...)".
class OTDescription {
public:
    static std::string describe(const nlohmann::json& value);
    // The decimal text of a number (or of a boolean, 1 or 0): integral values without a fraction,
    // others in the shortest form that reads back the same.
    static std::string numberText(const nlohmann::json& number);

private:
    static void append(std::string& out, const nlohmann::json& value, int indent, bool nested);
};

}  // namespace corvane
