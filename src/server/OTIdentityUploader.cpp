#include "server/OTIdentityUploader.h"

#include <nlohmann/json.hpp>

#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"
#include "server/OTEventReporter.h"
#include "server/OTLoginClient.h"
#include "server/OTNetwork.h"
#include "server/OTServerOutcome.h"
#include "server/OTServerSession.h"
#include "services/OTDataArchiver.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "services/OTUtils.h"

namespace corvane {

namespace {
constexpr const char* kParameterMessage = "请检查 pushToken:provider:groupIdentifier: 接口传参";

}  // namespace

OTIdentityUploader::OTIdentityUploader(std::shared_ptr<OTServerSession> session, std::shared_ptr<OTLoginClient> login,
                                       std::shared_ptr<OTEventReporter> reporter,
                                       std::shared_ptr<OTUserConfig> settings)
    : session_(std::move(session)),
      settings_(std::move(settings)),
      login_(std::move(login)),
      reporter_(std::move(reporter)) {}

// ---- The push address ----

std::optional<std::string> OTIdentityUploader::deviceToken2String(const CorvanePushToken& token) {
    if (!token.isBytes()) {
        OTLog(OTLogger::kLevelError, "请传入系统直接返回的 NSData 类型的 deviceToken");
        return std::nullopt;
    }
    const auto& bytes = token.bytes();
    if (bytes.size() < kDeviceTokenLength) return std::nullopt;
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(kDeviceTokenLength * 2);
    // Eight big-endian words printed with "%08x" are the bytes in order, two digits each.
    for (std::size_t i = 0; i < kDeviceTokenLength; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 0x0f];
    }
    return text;
}

OTIdentityUploader::Acceptance OTIdentityUploader::acceptPushToken(const CorvanePushToken& token,
                                                                   std::uint64_t provider,
                                                                   const std::optional<std::string>& groupIdentifier) {
    // A token of the wrong kind, or for a provider the library does not know, changes nothing:
    // not even the provider, which would otherwise pick the wrong "push" object for the next upload.
    const bool wrongKind = provider == kProviderJPush ? token.isBytes() : provider == kProviderApple && token.isText();
    if (wrongKind || (provider != kProviderJPush && provider != kProviderApple)) {
        OTLog(OTLogger::kLevelError, kParameterMessage);
        return Acceptance::Refused;
    }
    if (provider == kProviderJPush) {
        if (token.text().empty()) {
            OTLog(OTLogger::kLevelError, "获取 registrationId 失败");
            return Acceptance::Refused;
        }
        setDeviceId(token.text());
        OTLog(OTLogger::kLevelLog, "获取到 registrationId ：%@", token.text());
    } else {
        const auto hex = deviceToken2String(token);
        if (!hex) {
            OTLog(OTLogger::kLevelError, "获取 deviceToken 失败");
            return Acceptance::Refused;
        }
        setDeviceToken(hex);
        OTLog(OTLogger::kLevelLog, "获取到 deviceToken ：%@", *hex);
    }
    acceptedProvider_.store(provider);
    if (auto configuration = session_->configuration()) configuration->setPushProvider(provider);
    if (OTText::isPresent(groupIdentifier)) session_->setGroupIdentifier(groupIdentifier);

    const auto record = currentTokenInfo();
    const auto now = session_->environment().clock().now();
    if (OTUtils::isSameDay(OTDataArchiver::getTokenDate(), now) && OTDataArchiver::getTokenInfo() == record) {
        OTLog(OTLogger::kLevelLog, "今日已上报 deviceToken，无需重复上报：%@", record);
        return Acceptance::Uploaded;
    }
    const auto user = groupUser();
    return OTText::isPresent(user) && OTText::isPresent(deviceToken()) ? Acceptance::Due : Acceptance::Blocked;
}

std::shared_ptr<OTUserConfig> OTIdentityUploader::groupSettings() const {
    return settings_->configWithGroupIdentifier(session_->groupIdentifier());
}

std::optional<std::string> OTIdentityUploader::groupUser() const { return groupSettings()->userId(); }

std::uint64_t OTIdentityUploader::pushProvider() const {
    const auto configuration = session_->configuration();
    return configuration ? configuration->pushProvider() : acceptedProvider_.load();
}

std::string OTIdentityUploader::currentTokenInfo() const {
    const auto user = groupUser();
    const OTLogArgument arguments[] = {pushProvider(), deviceToken(), session_->groupIdentifier(), user};
    return OTLogFormatter::format("%lu-%@-%@-%@", arguments);
}

std::optional<nlohmann::json> OTIdentityUploader::pushObject() const {
    const auto idfa = OTUtils::getIDFA().value_or("");
    switch (pushProvider()) {
        case kProviderApple:
            return nlohmann::json{
                {"apns", deviceToken().value_or("")},
                {"apns_updatetime", OTUtils::stringFromDate(session_->environment().clock().now()).value_or("")},
                {"idfa", idfa}};
        case kProviderJPush: return nlohmann::json{{"jpush", deviceId().value_or("")}, {"idfa", idfa}};
        default: return std::nullopt;
    }
}

nlohmann::json OTIdentityUploader::identityBody() const {
    const auto settings = groupSettings();
    nlohmann::json body = {{"os", OTServerSession::osObject(true, true)},
                           {"sdkVersion", OTServerSession::kSDKVersion},
                           {"token", settings->token().value_or("")}};
    if (auto push = pushObject()) body["push"] = std::move(*push);
    return body;
}

// ---- Uploads ----

void OTIdentityUploader::uploadPushToken(OTServerCall::Done done) {
    static constexpr Texts kTexts{"上报 deviceToken 失败！\nstatusCode:%@\ndescripton:%@\n", "上报 deviceToken : \n%@",
                                  "上报 deviceToken 失败！\ncode:%@\nmessage:%@\n",
                                  "上报 deviceToken 失败！\ncode:%@\ndescripton:%@\n"};
    std::weak_ptr<OTIdentityUploader> weak = weak_from_this();
    post(
        kTokenPath,
        [weak]() -> std::optional<nlohmann::json> {
            auto self = weak.lock();
            if (!self) return std::nullopt;
            if (!OTText::isPresent(self->deviceToken()) && !OTText::isPresent(self->deviceId())) return std::nullopt;
            auto body = self->identityBody();
            body["userId"] = self->groupUser().value_or("");
            return body;
        },
        kTexts, uploadPushTokenRetryCount_,
        [](OTIdentityUploader& self) {
            OTLog(OTLogger::kLevelLog, "上报 deviceToken 成功! deviceToken：%@", self.deviceToken());
            const auto record = self.currentTokenInfo();
            OTLog(OTLogger::kLevelLog, "上报 deviceToken 成功! currentTokenInfo：%@", record);
            OTDataArchiver::setTokenInfo(record);
        },
        std::move(done));
}

void OTIdentityUploader::alias(const std::optional<std::string>& userId, OTServerCall::Done done) {
    static constexpr Texts kTexts{"alias 失败！\nstatusCode:%@\ndescripton:%@\n", "alias : \n%@",
                                  "alias 失败！\ncode:%@\nmessage:%@\n", "alias 失败！\ncode:%@\ndescripton:%@\n"};
    std::weak_ptr<OTIdentityUploader> weak = weak_from_this();
    post(
        kAliasPath,
        [weak, userId]() -> std::optional<nlohmann::json> {
            auto self = weak.lock();
            if (!self) return std::nullopt;
            auto body = self->identityBody();
            body["userId"] = userId.value_or("");
            body["newUserId"] = self->groupUser().value_or("");
            return body;
        },
        kTexts, aliasRetryCount_, [](OTIdentityUploader&) { OTLog(OTLogger::kLevelLog, "alias 成功!"); },
        std::move(done));
}

void OTIdentityUploader::post(const char* path, OTServerCall::Body body, const Texts& texts,
                              std::atomic<std::uint64_t>& retries,
                              const std::function<void(OTIdentityUploader& self)>& succeeded, OTServerCall::Done done) {
    std::weak_ptr<OTIdentityUploader> weak = weak_from_this();
    login_->send(
        {.path = path, .body = std::move(body)},
        [weak, texts, &retries, succeeded](OTServerCall& call, OTServerOutcome& outcome) {
            if (outcome.kind() == OTServerOutcome::Kind::TransportFailure) {
                OTLog(OTLogger::kLevelError, texts.failedTransport, outcome.errorCode(), outcome.errorDescription());
                if (auto self = weak.lock()) call.repeatLater(retries);
                return;
            }
            auto self = weak.lock();
            if (!self) return;
            // Unlike the list downloads, a bad status is retried like a lost connection.
            if (outcome.refusedByStatus()) {
                OTLog(OTLogger::kLevelError, texts.failedStatus, outcome.status(),
                      OTServerOutcome::statusText(outcome.status()));
                call.repeatLater(retries);
                return;
            }
            OTLog(OTLogger::kLevelLog, texts.answered, outcome.loggable());
            if (outcome.succeeded()) {
                succeeded(*self);
                return;
            }
            OTLog(OTLogger::kLevelError, texts.failedCode, outcome.code(), outcome.message());
            if (outcome.kind() == OTServerOutcome::Kind::TokenExpired) call.logInAgainAndRepeat(retries);
        },
        std::move(done));
}

void OTIdentityUploader::setWeChatId(const std::optional<std::string>& weChatId,
                                     const std::optional<std::string>& appId, const std::optional<std::string>& openId,
                                     OTServerCall::Done done) {
    std::weak_ptr<OTIdentityUploader> weak = weak_from_this();
    OTServerCall::Request request{
        .path = kWeChatPath, .body = [weak, weChatId, appId, openId]() -> std::optional<nlohmann::json> {
            auto self = weak.lock();
            if (!self) return std::nullopt;
            OTLog(OTLogger::kLevelData, "上报（setWeChatId）:unionId=%@,appid=%@,openId=%@", weChatId, appId, openId);
            if (!OTText::isPresent(appId) || !OTText::isPresent(openId)) {
                OTLog(OTLogger::kLevelError, "上报（setWeChatId）:appid is null or openId is null");
                return std::nullopt;
            }
            const auto settings = self->groupSettings();
            return nlohmann::json{{"os", OTServerSession::osObject(false, true)},
                                  {"sdkVersion", OTServerSession::kSDKVersion},
                                  {"token", settings->token().value_or("")},
                                  {"xwho", settings->userId().value_or("")},
                                  {"unionId", weChatId.value_or("")},
                                  {"appId", *appId},
                                  {"openId", *openId}};
        }};
    login_->send(
        std::move(request),
        [weak](OTServerCall& call, OTServerOutcome& outcome) {
            if (outcome.kind() == OTServerOutcome::Kind::TransportFailure) {
                OTLog(OTLogger::kLevelError, "上报setWeChatId事件失败！code:%@\ndescripton:%@\n", outcome.errorCode(),
                      outcome.errorDescription());
                return;
            }
            if (outcome.refusedByStatus()) {
                OTLog(OTLogger::kLevelError, "上报setWeChatId事件失败！statusCode:%@\ndescripton:%@\n",
                      outcome.status(), OTServerOutcome::statusText(outcome.status()));
                return;
            }
            OTLog(OTLogger::kLevelLog, "上报事件 setWeChatId:\n%@", outcome.loggable());
            if (outcome.succeeded()) {
                OTLog(OTLogger::kLevelLog, "上报setWeChatId事件成功");
                return;
            }
            OTLog(OTLogger::kLevelError, "上报setWeChatId事件失败");
            if (outcome.kind() != OTServerOutcome::Kind::TokenExpired) return;
            // The report's retries, spent here too on purpose.
            if (auto self = weak.lock()) call.logInAgainAndRepeat(self->reporter_->reportEventRetries());
        },
        std::move(done));
}

}  // namespace corvane
