#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

// Text operations with the platform's meanings where the library relies on them.
class OTText {
public:
    // Letter case folded in the ASCII range only; other letters stay as they are.
    static std::string lowercase(std::string_view text);
    static bool equalsIgnoringCase(std::string_view a, std::string_view b);
    // Trims blanks (space, tab and the Unicode space separators) at both ends, and line breaks
    // too when `lineBreaks` is true.
    static std::string trimmed(std::string_view text, bool lineBreaks);
    static std::string replacingOccurrences(std::string_view text, std::string_view of, std::string_view with);
    // Percent-encodes every byte outside the characters allowed in a URL query.
    static std::string percentEncodedForQuery(std::string_view text);
    // Whether the UTF-8 text holds a code point strictly between U+4E00 and U+9FFF.
    static bool containsCJKIdeograph(std::string_view text);
    // A text that is there and not empty.
    static bool isPresent(const std::optional<std::string>& text) { return text && !text->empty(); }
    // A text's leading integer the way a text's integer value reads: leading blanks, an optional
    // sign, then digits; anything else ends it; out of range saturates.
    static std::int64_t integerValue(std::string_view text);
};

}  // namespace corvane
