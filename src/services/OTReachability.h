#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/OTReachabilitySource.h"

namespace corvane {

class OTDispatchQueue;
class OTNotificationCenter;

// One network monitor over the environment's reachability source. Once its notifier is started,
// every change posts "OTNetworkDidChangeNotification" with the monitor as the object, on the queue
// that started it.
class OTReachability final : public std::enable_shared_from_this<OTReachability> {
public:
    using Flags = OTReachabilitySource::Flags;
    static constexpr const char* kNetworkDidChangeNotification = "OTNetworkDidChangeNotification";

    // Network statuses.
    static constexpr std::int64_t kNotReachable = 0;
    static constexpr std::int64_t kReachableViaWiFi = 1;
    static constexpr std::int64_t kReachableViaWWAN = 2;

    // Apple's reachability flag bits, the interface of the status logic.
    static constexpr Flags kFlagReachable = 1u << 1;
    static constexpr Flags kFlagConnectionRequired = 1u << 2;
    static constexpr Flags kFlagConnectionOnTraffic = 1u << 3;
    static constexpr Flags kFlagInterventionRequired = 1u << 4;
    static constexpr Flags kFlagConnectionOnDemand = 1u << 5;
    static constexpr Flags kFlagIsWWAN = 1u << 18;

    // A socket address as the platform takes it: length and family first.
    struct Address {
        std::uint8_t length = 16;
        std::uint8_t family = 2;
        std::string bytes;
    };

    OTReachability(std::shared_ptr<OTReachabilitySource> source, std::string target);
    ~OTReachability();
    OTReachability(const OTReachability&) = delete;
    OTReachability& operator=(const OTReachability&) = delete;

    // Nothing when the platform refuses the target (an empty name, an address whose length does
    // not fit its family).
    static std::shared_ptr<OTReachability> reachabilityWithHostName(const std::string& name);
    static std::shared_ptr<OTReachability> reachabilityWithAddress(const Address& address);
    static std::shared_ptr<OTReachability> reachabilityForInternetConnection();

    bool startNotifier();
    void stopNotifier();
    std::int64_t networkStatus() const;
    static std::int64_t networkStatusForFlags(Flags flags);
    bool connectionRequired() const;
    const std::string& target() const { return target_; }

private:
    void reachabilityChanged();

    std::shared_ptr<OTReachabilitySource> source_;
    std::string target_;
    std::mutex mutex_;
    std::uint64_t observerToken_ = 0;
    std::weak_ptr<OTDispatchQueue> queue_;
    std::weak_ptr<OTNotificationCenter> notifications_;
};

}  // namespace corvane
