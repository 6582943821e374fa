#include "server/OTServerOutcome.h"

#include "foundation/OTJSONLimits.h"
#include "foundation/OTJSONValue.h"
#include "services/OTLogger.h"

namespace corvane {

OTServerOutcome OTServerOutcome::answered(long status, const std::string& data, std::int64_t missingCode) {
    OTServerOutcome outcome;
    outcome.status_ = status;
    if (status != 200) {
        outcome.kind_ = Kind::Refused;
        return outcome;
    }
    outcome.answer_ = parse(data);
    if (outcome.answer_.is_discarded()) outcome.unparsed_ = data;
    outcome.code_ = missingCode;
    // Only an object answers anything: garbage and bare values are refusals whatever the default.
    if (!outcome.answer_.is_object()) {
        outcome.kind_ = Kind::Refused;
        return outcome;
    }
    if (const auto code = outcome.answer_.find("code"); code != outcome.answer_.end()) {
        outcome.code_ = OTJSONValue::integerValue(*code).value_or(missingCode);
    }
    outcome.kind_ = outcome.code_ == 0                   ? Kind::Success
                    : outcome.code_ == kExpiredTokenCode ? Kind::TokenExpired
                                                         : Kind::Refused;
    return outcome;
}

OTServerOutcome OTServerOutcome::failed(long errorCode, std::string description) {
    OTServerOutcome outcome;
    outcome.errorCode_ = errorCode;
    outcome.errorDescription_ = std::move(description);
    return outcome;
}

std::optional<nlohmann::json> OTServerOutcome::message() const {
    if (!answer_.is_object()) return std::nullopt;
    const auto message = answer_.find("message");
    if (message == answer_.end()) return std::nullopt;
    return *message;
}

OTLogArgument OTServerOutcome::loggable() const {
    return answer_.is_discarded() ? OTLogArgument(std::string_view(unparsed_)) : OTLogArgument(answer_);
}

std::string OTServerOutcome::statusText(long status) {
    switch (status) {
        case 400: return "bad request";
        case 401: return "unauthorized";
        case 403: return "forbidden";
        case 404: return "not found";
        case 500: return "internal server error";
        case 502: return "bad gateway";
        case 503: return "service unavailable";
        default: return "HTTP " + std::to_string(status);
    }
}

void OTServerOutcome::logRefusedStatus() const {
    OTLog(OTLogger::kLevelError, "statusCode:%@\ndescripton:%@\n", status_, statusText(status_));
}

nlohmann::json OTServerOutcome::parse(const std::string& data) {
    if (!OTJSONLimits::textWithinDepth(data)) {
        OTLog(OTLogger::kLevelError, "服务器应答嵌套超过 %@ 层，按格式错误处理", OTJSONLimits::kMaxDepth);
        return nlohmann::json(nlohmann::json::value_t::discarded);
    }
    return nlohmann::json::parse(data, nullptr, false);
}

}  // namespace corvane
