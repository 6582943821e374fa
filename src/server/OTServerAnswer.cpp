#include "server/OTServerAnswer.h"

#include "foundation/OTJSONLimits.h"
#include "foundation/OTJSONValue.h"
#include "services/OTLogger.h"

namespace corvane {

std::string OTServerAnswer::statusText(long status) {
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

bool OTServerAnswer::acceptedStatus(long status) {
    if (status == 200) return true;
    OTLog(OTLogger::kLevelError, "statusCode:%@\ndescripton:%@\n", status, statusText(status));
    return false;
}

nlohmann::json OTServerAnswer::parse(const std::string& data) {
    if (!OTJSONLimits::textWithinDepth(data)) {
        OTLog(OTLogger::kLevelError, "服务器应答嵌套超过 %@ 层，按格式错误处理", OTJSONLimits::kMaxDepth);
        return nlohmann::json(nlohmann::json::value_t::discarded);
    }
    return nlohmann::json::parse(data, nullptr, false);
}

std::int64_t OTServerAnswer::code(const nlohmann::json& answer, std::int64_t missing) {
    if (!answer.is_object() || !answer.contains("code")) return missing;
    return OTJSONValue::integerValue(answer["code"]).value_or(missing);
}

std::optional<nlohmann::json> OTServerAnswer::message(const nlohmann::json& answer) {
    if (!answer.is_object() || !answer.contains("message")) return std::nullopt;
    return answer["message"];
}

nlohmann::json OTServerAnswer::loggable(const nlohmann::json& answer, const std::string& data) {
    return answer.is_discarded() ? nlohmann::json(data) : answer;
}

}  // namespace corvane
