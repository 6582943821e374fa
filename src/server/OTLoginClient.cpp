#include "server/OTLoginClient.h"

#include <nlohmann/json.hpp>

#include "foundation/OTJSONValue.h"
#include "server/OTNetwork.h"
#include "server/OTServerAnswer.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "services/OTUtils.h"

namespace corvane {

OTLoginClient::OTLoginClient(std::shared_ptr<OTServerSession> session) : session_(std::move(session)) {}

void OTLoginClient::loginWithCompletion(const std::function<void()>& completion) {
    const auto configuration = session_->configuration();
    const nlohmann::json body = {{"os", session_->osObject(true, true)},
                                 {"sdkVersion", OTServerSession::kSDKVersion},
                                 {"appKey", configuration ? configuration->appKey().value_or("") : ""},
                                 {"userId", session_->userId().value_or("")}};
    std::weak_ptr<OTLoginClient> weak = weak_from_this();
    session_->network()->postRequestWithRelativeURLStr(
        "/push/sdk/login", nullptr, body,
        [weak, completion](const OTNetwork::Response& response, const std::string& data) {
            auto self = weak.lock();
            if (!self) return;
            if (!OTServerAnswer::acceptedStatus(response.statusCode)) return;
            const auto answer = OTServerAnswer::parse(data);
            OTLog(OTLogger::kLevelData, "login data:\n%@", OTServerAnswer::loggable(answer, data));
            if (!answer.is_object()) return;
            if (const auto code = OTServerAnswer::code(answer, 0); code != 0) {
                OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", code, OTServerAnswer::message(answer));
                return;
            }
            auto& session = *self->session_;
            const auto token = OTJSONValue::textAt(answer, "token");
            session.setToken(token);
            OTUserConfig::defaultConfig()->configWithGroupIdentifier(session.groupIdentifier())->setToken(token);
            const auto rule = answer.value("rule", nlohmann::json::object());
            const auto activity = OTJSONValue::textAt(rule, "activityUpdateTime").value_or("1970-01-01 00:00:00");
            if (auto when = OTUtils::dateFromString(activity)) session.setLastBackgroundUpdateTime(*when);
            OTUserConfig::configWithDictionary(rule);
            if (completion) completion();
        },
        [weak, completion](const OTNetwork::Error& error) {
            auto self = weak.lock();
            if (!self) return;
            self->session_->retryAfterTransportFailure(self->loginRetryCount_, error.code, error.localizedDescription,
                                                       [weak, completion] {
                                                           if (auto again = weak.lock())
                                                               again->loginWithCompletion(completion);
                                                       });
        });
}

void OTLoginClient::loginAgainWithin(std::atomic<std::uint64_t>& retries, const std::function<void()>& retry) {
    if (++retries > session_->maxRetryCount()) return;
    loginWithCompletion(retry);
}

}  // namespace corvane
