#include "tagging/OTTagManager.h"

#include "core/OTNavigation.h"
#include "core/OTSDKManager.h"
#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"
#include "server/OTAliasUploader.h"
#include "services/OTLogger.h"
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
    const auto current = OTNavigation(OTEnvironment::current()->uiHost()).currentViewController();
    if (std::dynamic_pointer_cast<OTTagDetailController>(current)) return;
    const auto navigation = OTNavigation(OTEnvironment::current()->uiHost()).currentNavigation();
    if (!navigation) {
        OTLog(OTLogger::kLevelError, "当前页面不在导航栈中，无法添加别名");
        return;
    }
    auto detail = OTTagDetailController::make();
    detail->setControllerName(current ? current->className() : std::string());
    detail->setH5Url(OTNavigation(OTEnvironment::current()->uiHost()).currentWebviewURL().value_or(""));
    navigation->pushViewController(detail, true);
}

void OTTagManager::uploadAlias(const std::optional<std::string>& alias, const std::optional<std::string>& url,
                               const std::optional<std::string>& h5Url, Completion completion) {
    if (!OTText::isPresent(alias) || (!OTText::isPresent(url) && !OTText::isPresent(h5Url))) return;
    OTSDKManager::sharedManager()->aliases().upload(*alias, url, h5Url, std::move(completion));
}

}  // namespace corvane
