#include "tagging/OTTagManager.h"

#include <nlohmann/json.hpp>

#include "core/OTNavigation.h"
#include "core/OTSDKManager.h"
#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"
#include "server/OTLoginClient.h"
#include "server/OTServerOutcome.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "tagging/OTFloatingBall.h"
#include "tagging/OTTagDetailController.h"
#include "view/OTNavigationController.h"

namespace corvane {

std::shared_ptr<OTTagManager> OTTagManager::manager() {
    return OTEnvironment::current()->singleton<OTTagManager>([] { return std::make_shared<OTTagManager>(); });
}

void OTTagManager::setPageTagState(bool on) {
    if (on) showAliasTag();
    else hideAliasTag();
}

void OTTagManager::showAliasTag() {
    // One ball however often the tool is switched on: a second would cover the first.
    if (!ball_) {
        ball_ = OTFloatingBall::ballWithTitle(
            std::nullopt, std::string(kBallImage),
            [weak = weak_from_this()] {
                if (auto self = weak.lock()) self->openAliasScreen();
            },
            OTFloatingBall::NearerSide);
    }
    ball_->show();
}

void OTTagManager::hideAliasTag() {
    if (ball_) ball_->hide();
}

void OTTagManager::openAliasScreen() {
    const auto current = OTNavigation::currentViewController();
    if (std::dynamic_pointer_cast<OTTagDetailController>(current)) return;
    const auto navigation = OTNavigation::currentNavigation();
    if (!navigation) {
        OTLog(OTLogger::kLevelError, "当前页面不在导航栈中，无法添加别名");
        return;
    }
    auto detail = OTTagDetailController::make();
    detail->setControllerName(current ? current->className() : std::string());
    detail->setH5Url(OTNavigation::currentWebviewURL().value_or(""));
    navigation->pushViewController(detail, true);
}

nlohmann::json OTTagManager::aliasBody(const std::string& alias, const std::optional<std::string>& url,
                                       const std::optional<std::string>& h5Url) {
    const auto engine = OTSDKManager::sharedManager();
    const auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(engine->session().groupIdentifier());
    nlohmann::json context = {{"$title", "title"}};
    if (url) context["$url"] = *url;
    if (h5Url) context["$h5Url"] = *h5Url;
    return {{"os", OTServerSession::osObject(false, true)},
            {"sdkVersion", OTServerSession::kSDKVersion},
            {"token", settings->token().value_or("")},
            {"userId", settings->userId().value_or("")},
            {"events", nlohmann::json::array({{{"alias", alias}, {"xwhat", "$pageview"}, {"xcontext", context}}})}};
}

void OTTagManager::uploadAlias(const std::optional<std::string>& alias, const std::optional<std::string>& url,
                               const std::optional<std::string>& h5Url, Completion completion) {
    if (!OTText::isPresent(alias) || (!OTText::isPresent(url) && !OTText::isPresent(h5Url))) return;
    if (!completion) completion = [](bool) {};
    // A server that keeps saying the login expired gets a bounded number of logins per upload.
    auto logins = std::make_shared<std::atomic<std::uint64_t>>(0);
    OTSDKManager::sharedManager()->login().send(
        {.path = kUploadPath,
         .body = [alias = *alias, url, h5Url]() -> std::optional<nlohmann::json> {
             return aliasBody(alias, url, h5Url);
         }},
        [alias = *alias, url, h5Url, completion, logins](OTServerCall& call, OTServerOutcome& outcome) {
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
