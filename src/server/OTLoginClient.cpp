#include "server/OTLoginClient.h"

#include <nlohmann/json.hpp>

#include "foundation/OTJSONValue.h"
#include "server/OTNetwork.h"
#include "server/OTServerOutcome.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "services/OTUtils.h"

namespace corvane {

OTLoginClient::OTLoginClient(std::shared_ptr<OTServerSession> session, std::shared_ptr<OTUserConfig> settings)
    : session_(std::move(session)), settings_(std::move(settings)) {}

void OTLoginClient::loginWithCompletion(const std::function<void()>& completion, OTServerCall::Done done) {
    std::weak_ptr<OTLoginClient> weak = weak_from_this();
    OTServerCall::Request request{.path = "/push/sdk/login",
                                  .body = [weak]() -> std::optional<nlohmann::json> {
                                      auto self = weak.lock();
                                      if (!self) return std::nullopt;
                                      const auto& session = *self->session_;
                                      const auto configuration = session.configuration();
                                      return nlohmann::json{
                                          {"os", session.osObject(true, true)},
                                          {"sdkVersion", OTServerSession::kSDKVersion},
                                          {"appKey", configuration ? configuration->appKey().value_or("") : ""},
                                          {"userId", session.userId().value_or("")}};
                                  },
                                  .missingCode = 0};
    send(
        std::move(request),
        [weak, completion](OTServerCall& call, OTServerOutcome& outcome) {
            auto self = weak.lock();
            if (!self) return;
            if (outcome.kind() == OTServerOutcome::Kind::TransportFailure) {
                call.repeatAfterTransportFailure(self->loginRetryCount_, outcome);
                return;
            }
            if (outcome.refusedByStatus()) return outcome.logRefusedStatus();
            const auto& answer = outcome.answer();
            OTLog(OTLogger::kLevelData, "login data:\n%@", outcome.loggable());
            if (!answer.is_object()) return;
            if (!outcome.succeeded()) {
                OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", outcome.code(), outcome.message());
                return;
            }
            auto& session = *self->session_;
            const auto token = OTJSONValue::textAt(answer, "token");
            session.setToken(token);
            self->settings_->configWithGroupIdentifier(session.groupIdentifier())->setToken(token);
            const auto rule = answer.value("rule", nlohmann::json::object());
            const auto activity = OTJSONValue::textAt(rule, "activityUpdateTime").value_or("1970-01-01 00:00:00");
            if (auto when = OTUtils::dateFromString(activity)) session.setLastBackgroundUpdateTime(*when);
            self->settings_->applyDictionary(rule);
            if (completion) completion();
        },
        std::move(done));
}

void OTLoginClient::send(OTServerCall::Request request, OTServerCall::Handler handle, OTServerCall::Done done) {
    std::make_shared<OTServerCall>(session_, weak_from_this(), std::move(request), std::move(handle), std::move(done))
        ->send();
}

bool OTLoginClient::loginAgainWithin(std::atomic<std::uint64_t>& retries, const std::function<void()>& retry) {
    if (++retries > session_->maxRetryCount()) return false;
    loginWithCompletion(retry);
    return true;
}

}  // namespace corvane
