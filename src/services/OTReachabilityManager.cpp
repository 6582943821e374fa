#include "services/OTReachabilityManager.h"

#include <exception>

#include "platform/OTEnvironment.h"
#include "services/OTLogger.h"
#include "services/OTReachability.h"

namespace corvane {

OTReachabilityManager::OTReachabilityManager(std::shared_ptr<OTReachabilitySource> telephony)
    : telephony_(std::move(telephony)) {}

std::shared_ptr<OTReachabilityManager> OTReachabilityManager::sharedManager() {
    auto environment = OTEnvironment::current();
    return environment->singleton<OTReachabilityManager>(
        [&] { return std::make_shared<OTReachabilityManager>(environment->reachabilitySource()); });
}

void OTReachabilityManager::startReachability() {
    auto monitor = OTReachability::reachabilityForInternetConnection();
    if (monitor) monitor->startNotifier();
    std::lock_guard lock(mutex_);
    reachability_ = std::move(monitor);
}

std::shared_ptr<OTReachability> OTReachabilityManager::reachability() const {
    std::lock_guard lock(mutex_);
    return reachability_;
}

std::int64_t OTReachabilityManager::networkStatus() const {
    auto monitor = reachability();
    // Before the start a throwaway monitor answers: the flags are read the same way.
    if (!monitor) monitor = OTReachability::reachabilityForInternetConnection();
    return monitor ? monitor->networkStatus() : OTReachability::kNotReachable;
}

std::optional<std::string> OTReachabilityManager::telephonyNetworkDescrition() const {
    try {
        switch (networkStatus()) {
            case OTReachability::kReachableViaWiFi: return std::string(kWiFi);
            case OTReachability::kReachableViaWWAN: {
                const auto& version = OTEnvironment::current()->device().systemVersion;
                int major = 0;
                try {
                    major = std::stoi(version);
                } catch (...) {
                    major = 0;
                }
                if (major >= 12) {
                    const auto perService = telephony_->serviceCurrentRadioAccessTechnology();
                    if (!perService.empty() && !perService.rbegin()->second.empty()) return perService.rbegin()->second;
                }
                if (auto current = telephony_->currentRadioAccessTechnology()) return current;
                return std::string(kNoNetwork);
            }
            default: return std::string(kNoNetwork);
        }
    } catch (const std::exception& exception) {
        OTLog(OTLogger::kLevelError, "telephonyNetworkDescrition get exception:%@", std::string(exception.what()));
        return std::nullopt;
    }
}

}  // namespace corvane
