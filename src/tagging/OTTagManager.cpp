#include "tagging/OTTagManager.h"

#include <nlohmann/json.hpp>

#include "core/OTNavigation.h"
#include "core/OTSDKManager.h"
#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"
#include "server/OTNetwork.h"
#include "server/OTServerAnswer.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "tagging/OTFloatingBall.h"
#include "tagging/OTTagDetailController.h"
#include "view/OTNavigationController.h"

namespace corvane {

namespace {}  // namespace

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
    const auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(engine->groupIdentifier());
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
    send(*alias, url, h5Url, completion, 0);
}

void OTTagManager::send(const std::string& alias, const std::optional<std::string>& url,
                        const std::optional<std::string>& h5Url, const Completion& completion, std::uint64_t logins) {
    const auto engine = OTSDKManager::sharedManager();
    const auto network = OTNetwork::networkWithGroupIdentifier(engine->groupIdentifier().value_or(""));
    network->postRequestWithRelativeURLStr(
        kUploadPath, nullptr, aliasBody(alias, url, h5Url),
        [weak = weak_from_this(), alias, url, h5Url, completion, logins](const OTNetwork::Response& response,
                                                                         const std::string& data) {
            if (response.statusCode != 200) {
                OTLog(OTLogger::kLevelError, "statusCode:%@\ndescripton:%@\n", response.statusCode,
                      OTServerAnswer::statusText(response.statusCode));
                return completion(false);
            }
            const auto answer = OTServerAnswer::parse(data);
            const auto code = OTServerAnswer::code(answer, -1);
            if (code == 0) {
                OTLog(OTLogger::kLevelLog, "上传别名 data:\n%@", OTServerAnswer::loggable(answer, data));
                OTLog(OTLogger::kLevelLog, "上传别名成功, url:%@, h5Url:%@, alias:%@", url, h5Url, alias);
                return completion(true);
            }
            const auto sdk = OTSDKManager::sharedManager();
            // A server that keeps saying the login expired gets a bounded number of logins.
            if (code == OTServerAnswer::kExpiredTokenCode && logins < sdk->maxRetryCount()) {
                sdk->loginWithCompletion([weak, alias, url, h5Url, completion, logins] {
                    if (auto self = weak.lock()) self->send(alias, url, h5Url, completion, logins + 1);
                });
                return;
            }
            OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", code, OTServerAnswer::message(answer));
            completion(false);
        },
        [completion](const OTNetwork::Error& error) {
            OTLog(OTLogger::kLevelError, "code:%@\ndescripton:%@\n", error.code, error.localizedDescription);
            completion(false);
        });
}

}  // namespace corvane
