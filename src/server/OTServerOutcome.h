#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "foundation/OTLogFormatter.h"

namespace corvane {

// What came of one request to the campaign server. An answer is read by one rule: HTTP status 200
// first, then the JSON "code": 0 a success, 10001 an expired session token, anything else a
// refusal carrying the server's "message". A request that got no answer is a transport failure.
class OTServerOutcome {
public:
    enum class Kind { Success, TokenExpired, Refused, TransportFailure };

    static constexpr std::int64_t kExpiredTokenCode = 10001;

    // An answer with its status: a status other than 200 is refused unread; otherwise the body is
    // parsed, a body that is no JSON object refused, and its "code" read, `missingCode` standing
    // in when it has none.
    static OTServerOutcome answered(long status, const std::string& data, std::int64_t missingCode);
    static OTServerOutcome failed(long errorCode, std::string description);

    Kind kind() const { return kind_; }
    bool succeeded() const { return kind_ == Kind::Success; }
    // Refused for its HTTP status, before any code was read.
    bool refusedByStatus() const { return kind_ == Kind::Refused && status_ != 200; }
    // The HTTP status; 0 when no answer came.
    long status() const { return status_; }
    // The answer's "code"; meaningless for a refused status or a transport failure.
    std::int64_t code() const { return code_; }
    // The parsed answer (a top-level fragment allowed); discarded when it did not parse or nested
    // deeper than the JSON depth limit.
    const nlohmann::json& answer() const { return answer_; }
    nlohmann::json& answer() { return answer_; }
    std::optional<nlohmann::json> message() const;
    // What a log line shows of the answer: its JSON, or the raw text when it did not parse. Read
    // where it is, never copied: a campaign list's answer can be megabytes.
    OTLogArgument loggable() const;
    long errorCode() const { return errorCode_; }
    const std::string& errorDescription() const { return errorDescription_; }

    // The reason phrase logged with a status other than 200.
    static std::string statusText(long status);
    // Logs a status other than 200, in the words the list downloads and logins use.
    void logRefusedStatus() const;

private:
    static nlohmann::json parse(const std::string& data);

    Kind kind_ = Kind::TransportFailure;
    long status_ = 0;
    std::int64_t code_ = 0;
    nlohmann::json answer_;
    // Kept only when the body did not parse, for the log.
    std::string unparsed_;
    long errorCode_ = 0;
    std::string errorDescription_;
};

}  // namespace corvane
