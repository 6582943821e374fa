#include "server/OTCampaignDownloader.h"

#include <nlohmann/json.hpp>

#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "platform/OTEnvironment.h"
#include "server/OTLoginClient.h"
#include "server/OTNetwork.h"
#include "server/OTServerOutcome.h"
#include "server/OTServerSession.h"
#include "services/OTDownloadManager.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "services/OTUtils.h"

namespace corvane {

OTCampaignDownloader::OTCampaignDownloader(std::shared_ptr<OTServerSession> session,
                                           std::shared_ptr<OTLoginClient> login, std::shared_ptr<OTUserConfig> settings,
                                           std::shared_ptr<OTDownloadManager> media)
    : session_(std::move(session)),
      login_(std::move(login)),
      settings_(std::move(settings)),
      media_(std::move(media)) {}

void OTCampaignDownloader::getListData(bool force, Receivers receivers) {
    session_->environment().console().print("getListData");
    const auto token = session_->token();
    const auto user = session_->userId();
    if (!token || token->empty() || !user || user->empty()) return;
    const auto configuration = session_->configuration();
    OTLog(OTLogger::kLevelLog, "CorvaneOstrel 启动成功！\nCorvaneOstrel 版本号：%@\nAppKey：%@\nuserId：%@",
          OTServerSession::kSDKVersion, configuration ? configuration->appKey() : std::nullopt, user);
    auto settings = settings_->configWithGroupIdentifier(session_->groupIdentifier());
    if (settings->dataPulledToday() && !force &&
        OTUtils::compareOneDay(settings->lastBackgroundUpdateTime(), session_->lastBackgroundUpdateTime()) == 0) {
        return;
    }
    getInAppList(std::move(receivers.inApp));
    getSubscribeList(std::move(receivers.subscribe));
    if (configuration && configuration->bannerClosed()) return;
    if (receivers.banners) receivers.banners();
}

nlohmann::json OTCampaignDownloader::listRequestBody(const std::optional<std::string>& user) const {
    return {{"newUser", user ? 1 : 0},
            {"os", session_->osObject(false, false)},
            {"sdkVersion", OTServerSession::kSDKVersion},
            {"token", session_->token().value_or("")},
            {"userId", user.value_or("")}};
}

void OTCampaignDownloader::downloadList(const char* path, const char* dataFormat, std::atomic<std::uint64_t>& retries,
                                        bool everyRefusalExpires, Accept accept, OTServerCall::Done done) {
    std::weak_ptr<OTCampaignDownloader> weak = weak_from_this();
    // The user each sending asked for: a repeat after a new login asks for the user of its time.
    auto asked = std::make_shared<OTLocked<std::optional<std::string>>>();
    OTServerCall::Request request{.path = path, .body = [weak, asked]() -> std::optional<nlohmann::json> {
                                      auto self = weak.lock();
                                      if (!self) return std::nullopt;
                                      auto user = self->session_->userId();
                                      asked->set(user);
                                      return self->listRequestBody(user);
                                  }};
    login_->send(
        std::move(request),
        [weak, path, dataFormat, asked, &retries, everyRefusalExpires, accept = std::move(accept)](
            OTServerCall& call, OTServerOutcome& outcome) {
            auto self = weak.lock();
            if (!self) return;
            self->isPullingData_.store(false);
            if (outcome.kind() == OTServerOutcome::Kind::TransportFailure) {
                call.repeatAfterTransportFailure(retries, outcome);
                return;
            }
            if (outcome.refusedByStatus()) return outcome.logRefusedStatus();
            // Downloads for two users may overlap: a list for a user who is gone must not win.
            if (const auto user = asked->get(); self->session_->userId() != user) {
                OTLog(OTLogger::kLevelLog, "用户已切换，丢弃用户 %@ 的列表：%@", user, path);
                return;
            }
            if (!outcome.succeeded()) {
                OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", outcome.code(), outcome.message());
                if (everyRefusalExpires) OTLog(OTLogger::kLevelError, "token 失效，重新 login");
            }
            // Described before the records are taken out of it.
            const auto logged = OTPrepareLog(OTLogger::kLevelData, dataFormat, outcome.loggable());
            if (outcome.kind() == OTServerOutcome::Kind::TokenExpired)
                call.logInAgainAndRepeat(retries, everyRefusalExpires);
            if (outcome.succeeded()) accept(*self, outcome.answer());
            OTLogger::log(logged);
        },
        std::move(done));
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

void OTCampaignDownloader::getInAppList(ListHandler receive, OTServerCall::Done done) {
    downloadList(
        "/push/sdk/in_app", "in_app data:\n%@", inAppRetryCount_, false,
        [receive = std::move(receive)](OTCampaignDownloader& downloader, nlohmann::json& answer) {
            auto campaigns = downloader.acceptInAppList(answer);
            if (receive) receive(std::move(campaigns));
        },
        std::move(done));
}

OTCampaignDownloader::Campaigns OTCampaignDownloader::acceptInAppList(nlohmann::json& answer) {
    auto settings = settings_->configWithGroupIdentifier(session_->groupIdentifier());
    settings->setLastBackgroundUpdateTime(session_->lastBackgroundUpdateTime());
    settings->setLastIPhoneUpdateTime(session_->environment().clock().now());
    auto campaigns = takeCampaigns(answer);
    answer = nullptr;
    // Pictures are fetched as the campaigns arrive, so that their dialogs can show at once.
    for (const auto& campaign : campaigns) {
        if ((campaign->style() == 1 || campaign->style() == 2) && campaign->picture() &&
            !campaign->picture()->empty()) {
            media_->downloadImageWithURL(*campaign->picture(), nullptr);
        }
    }
    return campaigns;
}

void OTCampaignDownloader::getSubscribeList(ListHandler receive, OTServerCall::Done done) {
    downloadList(
        "/push/sdk/event/subscribe", "subscribe data:\n%@", subscribeRetryCount_,
        // Every refusal reads as an expired token here; only 10001 logs in again.
        true,
        [receive = std::move(receive)](OTCampaignDownloader&, nlohmann::json& answer) {
            auto campaigns = takeCampaigns(answer);
            answer = nullptr;
            if (!campaigns.empty() && receive) receive(std::move(campaigns));
        },
        std::move(done));
}

void OTCampaignDownloader::triggerEvent(const std::shared_ptr<OTEvent>& event, OTServerCall::Done done) {
    if (!event) return;
    std::weak_ptr<OTCampaignDownloader> weak = weak_from_this();
    OTServerCall::Request request{.path = "/push/sdk/event/trigger",
                                  .body = [weak, event]() -> std::optional<nlohmann::json> {
                                      auto self = weak.lock();
                                      if (!self) return std::nullopt;
                                      const auto& session = *self->session_;
                                      return nlohmann::json{{"os", session.osObject(false, true)},
                                                            {"sdkVersion", OTServerSession::kSDKVersion},
                                                            {"token", session.token().value_or("")},
                                                            {"userId", session.userId().value_or("")},
                                                            {"events", nlohmann::json::array({event->toDictionary()})}};
                                  }};
    login_->send(
        std::move(request),
        [weak, event](OTServerCall& call, OTServerOutcome& outcome) {
            if (outcome.kind() == OTServerOutcome::Kind::TransportFailure) {
                OTLog(OTLogger::kLevelError, "code:%@\ndescripton:%@\n", outcome.errorCode(),
                      outcome.errorDescription());
                return;
            }
            auto self = weak.lock();
            if (!self) return;
            if (outcome.refusedByStatus()) return outcome.logRefusedStatus();
            if (outcome.succeeded()) {
                OTLog(OTLogger::kLevelLog, "触发事件成功!事件名：%@", event->xwhat());
            } else {
                OTLog(OTLogger::kLevelError, "code:%@\nmessage:%@\n", outcome.code(), outcome.message());
                if (outcome.kind() == OTServerOutcome::Kind::TokenExpired) {
                    call.logInAgainAndRepeat(self->triggerRetryCount_);
                }
            }
            OTLog(OTLogger::kLevelLog, "触发事件 data:\n%@", outcome.loggable());
        },
        std::move(done));
}

}  // namespace corvane
