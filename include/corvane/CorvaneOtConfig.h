#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "corvane/corvane_export.h"

namespace corvane {

/// The host app's configuration, handed to CorvaneOtManager::startWithConfig. The environment
/// and the custom server URL are kept in the app group's shared store, so the app's extensions
/// read the same values.
class CORVANE_EXPORT CorvaneOtConfig {
public:
    CorvaneOtConfig() = default;

    /// A process-wide shared configuration, made on first use.
    static std::shared_ptr<CorvaneOtConfig> defaultConfig();

    /// Do not register for remote notifications at start.
    ///@{
    bool pushClosed() const { return pushClosed_; }
    void setPushClosed(bool value) { pushClosed_ = value; }
    ///@}
    /// Do not match events against banner campaigns.
    ///@{
    bool bannerClosed() const { return bannerClosed_; }
    void setBannerClosed(bool value) { bannerClosed_ = value; }
    ///@}

    /// Server environment: 0 distribution, 1 test, 2 development, 3 demo. Written to and read back
    /// from the shared store ("group_info_key_env" in the group's domain) on every access.
    ///@{
    std::uint64_t envType() const;
    void setEnvType(std::uint64_t value);
    ///@}

    /// The app-group domain of the shared store. Setting it writes the environment again under it.
    ///@{
    const std::optional<std::string>& applicationGroupIdentifier() const { return applicationGroupIdentifier_; }
    void setApplicationGroupIdentifier(std::optional<std::string> value);
    ///@}

    /// A custom server base URL. The setter ignores an empty value, trims blanks and line breaks at
    /// both ends and one trailing "/", and keeps the result in the shared store
    /// ("group_info_key_url"); the getter reads it back from there.
    ///@{
    std::optional<std::string> url() const;
    void setUrl(const std::optional<std::string>& value);
    ///@}

    /// The app key the campaign server knows the app by.
    ///@{
    const std::optional<std::string>& appKey() const { return appKey_; }
    void setAppKey(std::optional<std::string> value) { appKey_ = std::move(value); }
    ///@}

    /// The host's notification-centre delegate, handed to the notification handler at start.
    ///@{
    const std::shared_ptr<void>& notificationCenterDelegate() const { return notificationCenterDelegate_; }
    void setNotificationCenterDelegate(std::shared_ptr<void> value) { notificationCenterDelegate_ = std::move(value); }
    ///@}

    /// Console log level: 0 keeps the logger's level; 1 all but data dumps; 3, 4, 5 that level
    /// only; 6 everything.
    ///@{
    std::uint64_t logLevelType() const { return logLevelType_; }
    void setLogLevelType(std::uint64_t value) { logLevelType_ = value; }
    ///@}

    /// Class name of the host app's main page.
    ///@{
    const std::optional<std::string>& mainPage() const { return mainPage_; }
    void setMainPage(std::optional<std::string> value) { mainPage_ = std::move(value); }
    ///@}

    /// 0: the platform's push service (token as raw bytes); 1: another provider (registration id).
    ///@{
    std::uint64_t pushProvider() const { return pushProvider_; }
    void setPushProvider(std::uint64_t value) { pushProvider_ = value; }
    ///@}

    /// The shared store's key of the server environment.
    static constexpr const char* kEnvKey = "group_info_key_env";
    /// The shared store's key of the custom server URL.
    static constexpr const char* kUrlKey = "group_info_key_url";

private:
    std::string domain() const { return applicationGroupIdentifier_.value_or(""); }

    bool pushClosed_ = false;
    bool bannerClosed_ = false;
    mutable std::uint64_t envType_ = 0;
    std::optional<std::string> applicationGroupIdentifier_;
    std::optional<std::string> url_;
    std::optional<std::string> appKey_;
    std::shared_ptr<void> notificationCenterDelegate_;
    std::uint64_t logLevelType_ = 0;
    std::optional<std::string> mainPage_;
    std::uint64_t pushProvider_ = 0;
};

}  // namespace corvane
