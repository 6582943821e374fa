#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace corvane {

// Reading a server answer: the HTTP status first, then the JSON "code" (0 success, 10001 an
// expired token, anything else a failure with the server's "message").
class OTServerAnswer {
public:
    static constexpr std::int64_t kExpiredTokenCode = 10001;

    // The reason phrase logged with a status other than 200.
    static std::string statusText(long status);
    // Only status 200 carries an answer; any other is logged and ends the handling.
    static bool acceptedStatus(long status);
    // The answer's JSON (a top-level fragment allowed); discarded when it does not parse or nests
    // deeper than the JSON depth limit.
    static nlohmann::json parse(const std::string& data);
    // The answer's "code", or `missing` when it has none.
    static std::int64_t code(const nlohmann::json& answer, std::int64_t missing);
    static std::optional<nlohmann::json> message(const nlohmann::json& answer);
    // What a log line shows of an answer: its JSON, or the raw text when it did not parse.
    static nlohmann::json loggable(const nlohmann::json& answer, const std::string& data);
};

}  // namespace corvane
