#include "server/OTAliasUploader.h"

#include <atomic>
#include <nlohmann/json.hpp>

#include "server/OTLoginClient.h"
#include "server/OTServerOutcome.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"

namespace corvane {

OTAliasUploader::OTAliasUploader(std::shared_ptr<OTServerSession> session, std::shared_ptr<OTLoginClient> login,
                                 std::shared_ptr<OTUserConfig> settings)
    : session_(std::move(session)), login_(std::move(login)), settings_(std::move(settings)) {}

namespace {
nlohmann::json bodyOf(const OTServerSession& session, OTUserConfig& stored, const std::string& alias,
                      const std::optional<std::string>& url, const std::optional<std::string>& h5Url) {
    const auto settings = stored.configWithGroupIdentifier(session.groupIdentifier());
    nlohmann::json context = {{"$title", "title"}};
    if (url) context["$url"] = *url;
    if (h5Url) context["$h5Url"] = *h5Url;
    return {{"os", OTServerSession::osObject(false, true)},
            {"sdkVersion", OTServerSession::kSDKVersion},
            {"token", settings->token().value_or("")},
            {"userId", settings->userId().value_or("")},
            {"events", nlohmann::json::array({{{"alias", alias}, {"xwhat", "$pageview"}, {"xcontext", context}}})}};
}
}  // namespace

nlohmann::json OTAliasUploader::body(const std::string& alias, const std::optional<std::string>& url,
                                     const std::optional<std::string>& h5Url) const {
    return bodyOf(*session_, *settings_, alias, url, h5Url);
}

void OTAliasUploader::upload(const std::string& alias, const std::optional<std::string>& url,
                             const std::optional<std::string>& h5Url, Completion completion) {
    if (!completion) completion = [](bool) {};
    // A server that keeps saying the login expired gets a bounded number of logins per upload.
    auto logins = std::make_shared<std::atomic<std::uint64_t>>(0);
    login_->send(
        {.path = kUploadPath,
         .body = [session = session_, settings = settings_, alias, url, h5Url]() -> std::optional<nlohmann::json> {
             return bodyOf(*session, *settings, alias, url, h5Url);
         }},
        [alias, url, h5Url, completion, logins](OTServerCall& call, OTServerOutcome& outcome) {
            if (outcome.kind() == OTServerOutcome::Kind::TransportFailure) {
                OTLog(OTLogger::kLevelError, "code:%@\ndescripton:%@\n", outcome.errorCode(),
                      outcome.errorDescription());
                return completion(false);
            }
            if (outcome.refusedByStatus()) {
                outcome.logRefusedStatus();
                return completion(false);
            }
            if (outcome.succeeded()) {
                OTLog(OTLogger::kLevelLog, "上传别名 data:\n%@", outcome.loggable());
                OTLog(OTLogger::kLevelLog, "上传别名成功, url:%@, h5Url:%@, alias:%@", url, h5Url, alias);
                return completion(true);
            }
            if (outcome.kind() == OTServerOutcome::Kind::TokenExpired && call.logInAgainAndRepeat(*logins, true))
                return;
            OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", outcome.code(), outcome.message());
            completion(false);
        });
}

}  // namespace corvane
