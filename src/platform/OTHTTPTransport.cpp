#include "platform/OTHTTPTransport.h"

#include <exception>

#include "platform/OTLogger.h"

namespace corvane {

void OTHTTPTransport::complete(const Completion& completion, long status, const std::string& body,
                               const std::optional<Failure>& failure) noexcept {
    if (!completion) return;
    try {
        completion(status, body, failure);
    } catch (const std::exception& error) {
        OTLog(OTLogger::kLevelError, "请求回调异常：%@", error.what());
    } catch (...) {
        OTLog(OTLogger::kLevelError, "请求回调异常：%@", "unknown");
    }
}

}  // namespace corvane
