#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "corvane/CorvanePushToken.h"
#include "foundation/OTLocked.h"
#include "server/OTServerCall.h"

namespace corvane {

class OTEventReporter;
class OTLoginClient;
class OTServerSession;
class OTUserConfig;

// Who the user is to the push services: the push address (uploaded once a day per distinct
// combination of provider, address, group and user), the link from a previous user id to the
// current one, and the user's WeChat identity. The token and user sent are those of the app
// group's shared settings, so the uploads also work from a notification extension.
class OTIdentityUploader final : public std::enable_shared_from_this<OTIdentityUploader> {
public:
    static constexpr std::uint64_t kProviderApple = 0;
    static constexpr std::uint64_t kProviderJPush = 1;
    static constexpr std::size_t kDeviceTokenLength = 32;
    static constexpr const char* kTokenPath = "/push/sdk/token";
    static constexpr const char* kAliasPath = "/push/sdk/alias";
    static constexpr const char* kWeChatPath = "/push/wechat/user/profile";

    // WeChat answers that asked for a new login share the usage reports' counter.
    OTIdentityUploader(std::shared_ptr<OTServerSession> session, std::shared_ptr<OTLoginClient> login,
                       std::shared_ptr<OTEventReporter> reporter, std::shared_ptr<OTUserConfig> settings);

    // What accepting a push address leaves to do.
    enum class Acceptance {
        Refused,   // the token was refused; nothing stored
        Uploaded,  // the same record was uploaded today already
        Due,       // an upload is due, and the user and address are known
        Blocked,   // an upload is due, but the user or the Apple address is still missing
    };
    // Checks the token against its provider, keeps it and the group, and says whether an upload is
    // due. A refused token leaves every stored value as it was.
    Acceptance acceptPushToken(const CorvanePushToken& token, std::uint64_t provider,
                               const std::optional<std::string>& groupIdentifier);
    // The first 32 bytes as 64 lower-case hexadecimal digits; nothing for a text, a missing token
    // or fewer bytes.
    static std::optional<std::string> deviceToken2String(const CorvanePushToken& token);

    void uploadPushToken(OTServerCall::Done done = {});
    // Links `userId` (the previous user) to the user now stored for the group.
    void alias(const std::optional<std::string>& userId, OTServerCall::Done done = {});
    void setWeChatId(const std::optional<std::string>& weChatId, const std::optional<std::string>& appId,
                     const std::optional<std::string>& openId, OTServerCall::Done done = {});

    // "provider-address-group-user", as stored after a successful upload.
    std::string currentTokenInfo() const;
    // The provider in force: the start configuration's, or the last one accepted before a start.
    std::uint64_t pushProvider() const;

    std::optional<std::string> deviceToken() const { return deviceToken_.get(); }
    void setDeviceToken(std::optional<std::string> value) { deviceToken_.set(std::move(value)); }
    std::optional<std::string> deviceId() const { return deviceId_.get(); }
    void setDeviceId(std::optional<std::string> value) { deviceId_.set(std::move(value)); }
    std::uint64_t uploadPushTokenRetryCount() const { return uploadPushTokenRetryCount_.load(); }
    std::uint64_t aliasRetryCount() const { return aliasRetryCount_.load(); }

private:
    // The app group's shared settings, and the user stored there: what every upload sends.
    std::shared_ptr<OTUserConfig> groupSettings() const;
    std::optional<std::string> groupUser() const;
    // The "push" object of token and alias requests; nothing for an unknown provider.
    std::optional<nlohmann::json> pushObject() const;
    // What token and alias requests share: "os", "sdkVersion", the group's "token" and "push".
    nlohmann::json identityBody() const;
    // The log formats of one kind of upload.
    struct Texts {
        const char* failedStatus;     // status code, reason
        const char* answered;         // the answer
        const char* failedCode;       // code, message
        const char* failedTransport;  // error code, description
    };
    // Sends a token or alias request: a bad status or a lost connection repeats it after a random
    // delay and an expired token logs in first, both counted by `retries`.
    void post(const char* path, OTServerCall::Body body, const Texts& texts, std::atomic<std::uint64_t>& retries,
              const std::function<void(OTIdentityUploader& self)>& succeeded, OTServerCall::Done done);

    std::shared_ptr<OTServerSession> session_;
    std::shared_ptr<OTUserConfig> settings_;
    std::shared_ptr<OTLoginClient> login_;
    std::shared_ptr<OTEventReporter> reporter_;
    OTLocked<std::optional<std::string>> deviceToken_;
    OTLocked<std::optional<std::string>> deviceId_;
    std::atomic<std::uint64_t> acceptedProvider_{kProviderApple};
    std::atomic<std::uint64_t> uploadPushTokenRetryCount_{0};
    std::atomic<std::uint64_t> aliasRetryCount_{0};
};

}  // namespace corvane
