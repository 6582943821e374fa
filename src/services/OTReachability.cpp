#include "services/OTReachability.h"

#include <exception>

#include "platform/OTEnvironment.h"

namespace corvane {

OTReachability::OTReachability(std::shared_ptr<OTReachabilitySource> source, std::string target)
    : source_(std::move(source)), target_(std::move(target)) {}

OTReachability::~OTReachability() { stopNotifier(); }

std::shared_ptr<OTReachability> OTReachability::reachabilityWithHostName(const std::string& name) {
    if (name.empty()) return nullptr;
    return std::make_shared<OTReachability>(OTEnvironment::current()->reachabilitySource(), name);
}

std::shared_ptr<OTReachability> OTReachability::reachabilityWithAddress(const Address& address) {
    constexpr std::uint8_t kInet = 2, kInet6 = 30;
    const bool fits =
        (address.family == kInet && address.length == 16) || (address.family == kInet6 && address.length == 28);
    if (!fits) return nullptr;
    std::string target = address.family == kInet ? "0.0.0.0" : "::";
    if (address.bytes.find_first_not_of('\0') != std::string::npos) target = "address:" + address.bytes;
    return std::make_shared<OTReachability>(OTEnvironment::current()->reachabilitySource(), target);
}

std::shared_ptr<OTReachability> OTReachability::reachabilityForInternetConnection() {
    return reachabilityWithAddress(Address{16, 2, {}});
}

bool OTReachability::startNotifier() {
    try {
        auto environment = OTEnvironment::current();
        std::lock_guard lock(mutex_);
        if (observerToken_ != 0) return true;
        queue_ = environment->mainQueue();
        notifications_ = environment->notificationCenterHandle();
        observerToken_ = source_->addObserver([weak = weak_from_this()] {
            if (auto self = weak.lock()) self->reachabilityChanged();
        });
        return observerToken_ != 0;
    } catch (const std::exception&) {
        return false;
    }
}

void OTReachability::stopNotifier() {
    std::uint64_t token = 0;
    {
        std::lock_guard lock(mutex_);
        token = std::exchange(observerToken_, 0);
    }
    if (token != 0) source_->removeObserver(token);
}

void OTReachability::reachabilityChanged() {
    std::shared_ptr<OTDispatchQueue> queue;
    {
        std::lock_guard lock(mutex_);
        queue = queue_.lock();
    }
    if (!queue) return;
    queue->async([weak = weak_from_this()] {
        auto self = weak.lock();
        if (!self) return;
        std::shared_ptr<OTNotificationCenter> center;
        {
            std::lock_guard lock(self->mutex_);
            center = self->notifications_.lock();
        }
        if (center) center->post(kNetworkDidChangeNotification, self);
    });
}

std::int64_t OTReachability::networkStatus() const {
    const auto flags = source_->currentFlags();
    return flags ? networkStatusForFlags(*flags) : kNotReachable;
}

std::int64_t OTReachability::networkStatusForFlags(Flags flags) {
    if (!(flags & kFlagReachable)) return kNotReachable;
    if (flags & kFlagIsWWAN) return kReachableViaWWAN;
    const bool automatic = (flags & kFlagConnectionOnTraffic) || (flags & kFlagConnectionOnDemand);
    if ((flags & kFlagInterventionRequired) || !automatic) {
        return (flags & kFlagConnectionRequired) ? kNotReachable : kReachableViaWiFi;
    }
    return kReachableViaWiFi;
}

bool OTReachability::connectionRequired() const {
    const auto flags = source_->currentFlags();
    return flags && (*flags & kFlagConnectionRequired);
}

}  // namespace corvane
