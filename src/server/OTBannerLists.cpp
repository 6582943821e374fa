#include "server/OTBannerLists.h"

#include <nlohmann/json.hpp>

#include "server/OTLoginClient.h"
#include "server/OTServerOutcome.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"

namespace corvane {

OTBannerLists::OTBannerLists(std::shared_ptr<OTLoginClient> login, std::shared_ptr<OTUserConfig> settings)
    : login_(std::move(login)), settings_(std::move(settings)) {}

void OTBannerLists::fetch(const char* path, const std::optional<std::string>& groupIdentifier, bool withDevice,
                          std::atomic<std::uint64_t>& retries, Answer answer) {
    OTServerCall::Request request{
        .path = path,
        .body = [settings = settings_, groupIdentifier, withDevice]() -> std::optional<nlohmann::json> {
            const auto stored = settings->configWithGroupIdentifier(groupIdentifier);
            return nlohmann::json{{"newUser", 1},
                                  {"os", OTServerSession::osObject(withDevice, withDevice)},
                                  {"sdkVersion", OTServerSession::kSDKVersion},
                                  {"token", stored->token().value_or("")},
                                  {"userId", stored->userId().value_or("")}};
        },
        .group = groupIdentifier.value_or("")};
    login_->send(std::move(request), [&retries, answer = std::move(answer)](OTServerCall& call,
                                                                            OTServerOutcome& outcome) {
        if (outcome.kind() == OTServerOutcome::Kind::TransportFailure) {
            OTLog(OTLogger::kLevelError, "code:%@\ndescripton:%@\n", outcome.errorCode(), outcome.errorDescription());
            return;
        }
        if (outcome.refusedByStatus()) return outcome.logRefusedStatus();
        if (!outcome.answer().is_object()) {
            OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", -1, outcome.loggable());
            return;
        }
        if (!outcome.succeeded()) {
            OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", outcome.code(), outcome.message());
            // A server that keeps refusing the token is asked again only within the limit; the
            // banners never logged the expired token's line.
            if (outcome.kind() == OTServerOutcome::Kind::TokenExpired) call.logInAgainAndRepeat(retries, true);
            return;
        }
        retries.store(0);
        answer(outcome.answer());
    });
}

}  // namespace corvane
