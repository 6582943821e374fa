#include "server/OTCampaignDownloader.h"

#include <nlohmann/json.hpp>

#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "platform/OTEnvironment.h"
#include "server/OTLoginClient.h"
#include "server/OTNetwork.h"
#include "server/OTServerAnswer.h"
#include "server/OTServerSession.h"
#include "services/OTDownloadManager.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "services/OTUtils.h"

namespace corvane {

OTCampaignDownloader::OTCampaignDownloader(std::shared_ptr<OTServerSession> session,
                                           std::shared_ptr<OTLoginClient> login)
    : session_(std::move(session)), login_(std::move(login)) {}

void OTCampaignDownloader::setInAppListHandler(ListHandler handler) {
    std::lock_guard lock(handlersMutex_);
    inAppHandler_ = std::move(handler);
}

void OTCampaignDownloader::setSubscribeListHandler(ListHandler handler) {
    std::lock_guard lock(handlersMutex_);
    subscribeHandler_ = std::move(handler);
}

void OTCampaignDownloader::setBannerLoader(std::function<void()> loader) {
    std::lock_guard lock(handlersMutex_);
    bannerLoader_ = std::move(loader);
}

OTCampaignDownloader::ListHandler OTCampaignDownloader::inAppHandler() const {
    std::lock_guard lock(handlersMutex_);
    return inAppHandler_;
}

OTCampaignDownloader::ListHandler OTCampaignDownloader::subscribeHandler() const {
    std::lock_guard lock(handlersMutex_);
    return subscribeHandler_;
}

void OTCampaignDownloader::getListData(bool force) {
    session_->environment().console().print("getListData");
    const auto token = session_->token();
    const auto user = session_->userId();
    if (!token || token->empty() || !user || user->empty()) return;
    const auto configuration = session_->configuration();
    OTLog(OTLogger::kLevelLog, "CorvaneOstrel 启动成功！\nCorvaneOstrel 版本号：%@\nAppKey：%@\nuserId：%@",
          OTServerSession::kSDKVersion, configuration ? configuration->appKey() : std::nullopt, user);
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(session_->groupIdentifier());
    if (settings->dataPulledToday() && !force &&
        OTUtils::compareOneDay(settings->lastBackgroundUpdateTime(), session_->lastBackgroundUpdateTime()) == 0) {
        return;
    }
    getInAppList();
    getSubscribeList();
    if (configuration && configuration->bannerClosed()) return;
    std::function<void()> loadBanners;
    {
        std::lock_guard lock(handlersMutex_);
        loadBanners = bannerLoader_;
    }
    if (loadBanners) loadBanners();
}

nlohmann::json OTCampaignDownloader::listRequestBody(const std::optional<std::string>& user) const {
    return {{"newUser", user ? 1 : 0},
            {"os", session_->osObject(false, false)},
            {"sdkVersion", OTServerSession::kSDKVersion},
            {"token", session_->token().value_or("")},
            {"userId", user.value_or("")}};
}

void OTCampaignDownloader::downloadList(const char* path, const char* dataFormat,
                                        std::atomic<std::uint64_t> OTCampaignDownloader::*retries,
                                        void (OTCampaignDownloader::*again)(), ListAnswer handle) {
    std::weak_ptr<OTCampaignDownloader> weak = weak_from_this();
    auto user = session_->userId();
    auto body = listRequestBody(user);
    session_->network()->postRequestWithRelativeURLStr(
        path, nullptr, body,
        [weak, path, dataFormat, user = std::move(user), handle = std::move(handle)](
            const OTNetwork::Response& response, const std::string& data) {
            auto self = weak.lock();
            if (!self) return;
            self->setIsPullingData(false);
            if (!OTServerAnswer::acceptedStatus(response.statusCode)) return;
            // Downloads for two users may overlap: a list for a user who is gone must not win.
            if (self->session_->userId() != user) {
                OTLog(OTLogger::kLevelLog, "用户已切换，丢弃用户 %@ 的列表：%@", user, path);
                return;
            }
            auto answer = OTServerAnswer::parse(data);
            const auto code = OTServerAnswer::code(answer, -1);
            if (code != 0) OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", code, OTServerAnswer::message(answer));
            // Described before the handler takes the records out of it.
            const auto logged = answer.is_discarded() ? OTPrepareLog(OTLogger::kLevelData, dataFormat, data)
                                                      : OTPrepareLog(OTLogger::kLevelData, dataFormat, answer);
            handle(*self, code, std::move(answer));
            OTLogger::log(logged);
        },
        [weak, retries, again](const OTNetwork::Error& error) {
            auto self = weak.lock();
            if (!self) return;
            self->setIsPullingData(false);
            self->session_->retryAfterTransportFailure((*self).*retries, error.code, error.localizedDescription,
                                                       [weak, again] {
                                                           if (auto downloader = weak.lock()) ((*downloader).*again)();
                                                       });
        });
}

OTCampaignDownloader::Campaigns OTCampaignDownloader::takeCampaigns(nlohmann::json& answer) {
    Campaigns campaigns;
    if (!answer.is_object()) return campaigns;
    const auto list = answer.find("data");
    if (list == answer.end() || !list->is_array()) return campaigns;
    campaigns.reserve(list->size());
    for (auto& element : *list) {
        auto campaign = std::make_shared<OTWindowData>();
        campaign->setModelWithDic(element);
        element = nullptr;
        campaigns.push_back(std::move(campaign));
    }
    answer.erase(list);
    return campaigns;
}

void OTCampaignDownloader::getInAppList() {
    downloadList("/push/sdk/in_app", "in_app data:\n%@", &OTCampaignDownloader::inAppRetryCount_,
                 &OTCampaignDownloader::getInAppList,
                 [](OTCampaignDownloader& downloader, std::int64_t code, nlohmann::json answer) {
                     if (code == 0) return downloader.acceptInAppList(std::move(answer));
                     if (code != OTServerAnswer::kExpiredTokenCode) return;
                     OTLog(OTLogger::kLevelError, "token 失效，重新 login");
                     downloader.login_->loginAgainWithin(downloader.inAppRetryCount_,
                                                         [weak = downloader.weak_from_this()] {
                                                             if (auto again = weak.lock()) again->getInAppList();
                                                         });
                 });
}

void OTCampaignDownloader::acceptInAppList(nlohmann::json answer) {
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(session_->groupIdentifier());
    settings->setLastBackgroundUpdateTime(session_->lastBackgroundUpdateTime());
    settings->setLastIPhoneUpdateTime(session_->environment().clock().now());
    auto campaigns = takeCampaigns(answer);
    answer = nullptr;
    // Pictures are fetched as the campaigns arrive, so that their dialogs can show at once.
    for (const auto& campaign : campaigns) {
        if ((campaign->style() == 1 || campaign->style() == 2) && campaign->picture() &&
            !campaign->picture()->empty()) {
            OTDownloadManager::sharedManager()->downloadImageWithURL(*campaign->picture(), nullptr);
        }
    }
    if (auto handler = inAppHandler()) handler(std::move(campaigns));
}

void OTCampaignDownloader::getSubscribeList() {
    downloadList("/push/sdk/event/subscribe", "subscribe data:\n%@", &OTCampaignDownloader::subscribeRetryCount_,
                 &OTCampaignDownloader::getSubscribeList,
                 [](OTCampaignDownloader& downloader, std::int64_t code, nlohmann::json answer) {
                     if (code != 0) {
                         // Every refusal reads as an expired token here; only 10001 logs in again.
                         OTLog(OTLogger::kLevelError, "token 失效，重新 login");
                         if (code != OTServerAnswer::kExpiredTokenCode) return;
                         downloader.login_->loginAgainWithin(downloader.subscribeRetryCount_,
                                                             [weak = downloader.weak_from_this()] {
                                                                 if (auto again = weak.lock())
                                                                     again->getSubscribeList();
                                                             });
                         return;
                     }
                     auto campaigns = takeCampaigns(answer);
                     answer = nullptr;
                     if (campaigns.empty()) return;
                     if (auto handler = downloader.subscribeHandler()) handler(std::move(campaigns));
                 });
}

void OTCampaignDownloader::triggerEvent(const std::shared_ptr<OTEvent>& event) {
    if (!event) return;
    const nlohmann::json body = {{"os", session_->osObject(false, true)},
                                 {"sdkVersion", OTServerSession::kSDKVersion},
                                 {"token", session_->token().value_or("")},
                                 {"userId", session_->userId().value_or("")},
                                 {"events", nlohmann::json::array({event->toDictionary()})}};
    std::weak_ptr<OTCampaignDownloader> weak = weak_from_this();
    session_->network()->postRequestWithRelativeURLStr(
        "/push/sdk/event/trigger", nullptr, body,
        [weak, event](const OTNetwork::Response& response, const std::string& data) {
            auto self = weak.lock();
            if (!self) return;
            if (!OTServerAnswer::acceptedStatus(response.statusCode)) return;
            const auto answer = OTServerAnswer::parse(data);
            const auto code = OTServerAnswer::code(answer, -1);
            if (code == 0) {
                OTLog(OTLogger::kLevelLog, "触发事件成功!事件名：%@", event->xwhat());
            } else {
                OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", code, OTServerAnswer::message(answer));
                if (code == OTServerAnswer::kExpiredTokenCode) {
                    OTLog(OTLogger::kLevelError, "token 失效，重新 login");
                    self->login_->loginAgainWithin(self->triggerRetryCount_, [weak, event] {
                        if (auto again = weak.lock()) again->triggerEvent(event);
                    });
                }
            }
            OTLog(OTLogger::kLevelLog, "触发事件 data:\n%@", OTServerAnswer::loggable(answer, data));
        },
        [](const OTNetwork::Error& error) {
            OTLog(OTLogger::kLevelError, "code:%@\ndescripton:%@\n", error.code, error.localizedDescription);
        });
}

}  // namespace corvane
