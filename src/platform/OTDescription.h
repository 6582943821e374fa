#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

// Text descriptions of values in the platform's style, as `%@` prints them: a text is itself,
// null is "<null>", true and false are 1 and 0, dictionaries and lists take the nested
// "{\n    key = value;\n}" and "(\n    item\n)" forms.
class OTDescription {
public:
    static std::string describe(const nlohmann::json& value);

private:
    static void append(std::string& out, const nlohmann::json& value, int indent, bool nested);
};
