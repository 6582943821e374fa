#include "server/OTServerSession.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "platform/OTEnvironment.h"
#include "server/OTNetwork.h"
#include "services/OTLogger.h"
#include "services/OTUtils.h"

namespace corvane {

OTServerSession::OTServerSession(OTEnvironment& environment, std::shared_ptr<OTUserShare> share)
    : environment_(environment), network_(std::make_shared<OTNetwork>(environment.httpHandle(), std::move(share))) {
    lastBackgroundUpdateTime_.set(environment.clock().now());
}

void OTServerSession::setGroupIdentifier(std::optional<std::string> value) {
    network_->setGroupIdentifier(value.value_or(""));
    groupIdentifier_.set(std::move(value));
}

std::shared_ptr<OTNetwork> OTServerSession::network() const { return network_; }

nlohmann::json OTServerSession::osObject(bool withDevice, bool withPackage) {
    nlohmann::json os = {
        {"brand", "iphone"}, {"channel", "default"}, {"platform", "ios"}, {"version", OTUtils::getOSVersion()}};
    if (withDevice) os["mac"] = OTUtils::getUUID();
    if (withPackage) os["packageName"] = OTUtils::getAppBundleId();
    return os;
}

double OTServerSession::reportTime() const {
    const double seconds =
        std::chrono::duration<double>(environment_.clock().now().time_since_epoch()).count() + calibrationTime();
    // Whole milliseconds, rounded as "%.f" rounds (to nearest, ties to even).
    return std::nearbyint(seconds * 1000.0);
}

std::string OTServerSession::documentsPath(const std::string& fileName) const {
    return (environment_.sandbox().documentsDirectory() / fileName).string();
}

std::uint32_t OTServerSession::getRandomRetryDurationWithRetryCount(std::uint64_t count, double ratio) {
    const std::uint32_t r = environment_.random().next();
    switch (count) {
        case 1: {
            const std::uint32_t base = (ratio > 1.0 || !(ratio > 0.0)) ? 60u : static_cast<std::uint32_t>(ratio * 60.0);
            // A ratio below 1/60 leaves the random value as it is.
            return base == 0 ? r : r % base;
        }
        case 2: return r % 120;
        case 3: return r % 180;
        default: return 0;
    }
}

void OTServerSession::scheduleRetry(std::uint32_t seconds, std::function<void()> retry) {
    environment_.mainQueue()->after(std::chrono::seconds(seconds), std::move(retry));
}

void OTServerSession::observeOutcome(const std::string& path, const OTServerOutcome& outcome) const {
    if (const auto observer = outcomeObserver_.get()) observer(path, outcome);
}

void OTServerSession::retryWithin(std::atomic<std::uint64_t>& counter, std::function<void()> retry) {
    const auto attempt = ++counter;
    if (attempt > maxRetryCount()) return;
    scheduleRetry(getRandomRetryDurationWithRetryCount(attempt, 1.0), std::move(retry));
}

}  // namespace corvane
