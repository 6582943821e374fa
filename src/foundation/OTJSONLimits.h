#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string_view>

namespace corvane {

// The nesting bound that every JSON value from the server or the host must keep. The library
// walks values recursively (matching, archiving, describing, logging), so a value nested deeper
// than kMaxDepth is refused where it comes in, before any recursive walk, and treated as
// malformed. A scalar has depth 0; `[]` and `{}` have depth 1.
class OTJSONLimits {
public:
    static constexpr std::size_t kMaxDepth = 64;

    // Whether `value` nests at most `limit` levels. Iterative, so any depth is safe to ask about.
    static bool withinDepth(const nlohmann::json& value, std::size_t limit = kMaxDepth);
    // Whether the brackets of a JSON text nest at most `limit` levels (texts and their escapes
    // skipped); a single pass without building anything.
    static bool textWithinDepth(std::string_view text, std::size_t limit = kMaxDepth);
    // The JSON of a text, a top-level fragment allowed; discarded when the text is malformed or
    // nests deeper than kMaxDepth.
    static nlohmann::json parse(std::string_view text);
};

}  // namespace corvane
