#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "corvane/CorvaneOtConfig.h"
#include "foundation/OTLocked.h"
#include "platform/OTClock.h"

namespace corvane {

class OTEnvironment;
class OTNetwork;
class OTServerOutcome;
class OTUserShare;

// Who the library is to its server: the configuration, the app group, the session token and the
// user, and what every request shares (the "os" object, report times, retry delays). The server
// link's classes share one session; the engine reads and writes it through its own fields.
class OTServerSession {
public:
    static constexpr const char* kSDKVersion = "2.2.2";

    // Requests go through the environment's HTTP transport, to the server that `share` names (a
    // custom base URL or an environment) or else to the configured one.
    OTServerSession(OTEnvironment& environment, std::shared_ptr<OTUserShare> share);

    OTEnvironment& environment() const { return environment_; }

    std::shared_ptr<CorvaneOtConfig> configuration() const { return configuration_.get(); }
    void setConfiguration(std::shared_ptr<CorvaneOtConfig> value) { configuration_.set(std::move(value)); }
    std::optional<std::string> groupIdentifier() const { return groupIdentifier_.get(); }
    void setGroupIdentifier(std::optional<std::string> value);
    std::optional<std::string> token() const { return token_.get(); }
    void setToken(std::optional<std::string> value) { token_.set(std::move(value)); }
    std::optional<std::string> userId() const { return userId_.get(); }
    void setUserId(std::optional<std::string> value) { userId_.set(std::move(value)); }
    std::optional<std::string> appid() const { return appid_.get(); }
    void setAppid(std::optional<std::string> value) { appid_.set(std::move(value)); }
    double calibrationTime() const { return calibrationTime_.load(); }
    void setCalibrationTime(double value) { calibrationTime_.store(value); }
    // The server's last activity time, from the login answer's rule.
    OTClock::TimePoint lastBackgroundUpdateTime() const { return lastBackgroundUpdateTime_.get(); }
    void setLastBackgroundUpdateTime(OTClock::TimePoint value) { lastBackgroundUpdateTime_.set(value); }
    std::uint64_t maxRetryCount() const { return maxRetryCount_.load(); }
    void setMaxRetryCount(std::uint64_t value) { maxRetryCount_.store(value); }

    // The HTTP client for the session's app group.
    std::shared_ptr<OTNetwork> network() const;
    // The "os" object of a request body, with the device id and the bundle id where asked for.
    static nlohmann::json osObject(bool withDevice, bool withPackage);
    // Milliseconds since 1970 on the server's clock.
    double reportTime() const;
    // Where the library's files live: the documents folder of the sandbox.
    std::string documentsPath(const std::string& fileName) const;

    // Hears every outcome of the session's requests, after the request's own handling, with the
    // request's path: what a test waits on, and what a run's account of the server is made from.
    using OutcomeObserver = std::function<void(const std::string& path, const OTServerOutcome& outcome)>;
    void setOutcomeObserver(OutcomeObserver observer) { outcomeObserver_.set(std::move(observer)); }
    void observeOutcome(const std::string& path, const OTServerOutcome& outcome) const;

    // Seconds to wait before retry `count`: below 60 × ratio, 120 or 180 for the first three.
    std::uint32_t getRandomRetryDurationWithRetryCount(std::uint64_t count, double ratio);
    void scheduleRetry(std::uint32_t seconds, std::function<void()> retry);
    // Counts a retry and, within the limit, repeats `retry` after a random delay.
    void retryWithin(std::atomic<std::uint64_t>& counter, std::function<void()> retry);

private:
    OTEnvironment& environment_;
    OTLocked<std::shared_ptr<CorvaneOtConfig>> configuration_;
    OTLocked<std::optional<std::string>> groupIdentifier_;
    // This session's client: its servers, its group, its time-out.
    const std::shared_ptr<OTNetwork> network_;
    OTLocked<std::optional<std::string>> token_;
    OTLocked<std::optional<std::string>> userId_;
    OTLocked<std::optional<std::string>> appid_;
    std::atomic<double> calibrationTime_{0};
    OTLocked<OTClock::TimePoint> lastBackgroundUpdateTime_;
    std::atomic<std::uint64_t> maxRetryCount_{3};
    OTLocked<OutcomeObserver> outcomeObserver_;
};

}  // namespace corvane
