#pragma once

#include <cstddef>
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
    // The first `limit` bytes of the description (or a few more, never split inside a character's
    // bytes), and in `omitted` how many more the whole would take: a log line keeps only the start
    // of a megabyte answer and need not build the rest.
    static std::string describe(const nlohmann::json& value, std::size_t limit, std::size_t& omitted);
    // The decimal text of a number (or of a boolean, 1 or 0): integral values without a fraction,
    // others in the shortest form that reads back the same.
    static std::string numberText(const nlohmann::json& number);

private:
    struct Out;
    static void append(Out& out, const nlohmann::json& value, int indent, bool nested);
};

}  // namespace corvane
