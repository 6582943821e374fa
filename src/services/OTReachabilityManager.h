#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace corvane {

class OTReachability;
class OTReachabilitySource;

// The process-wide network monitor, and simple answers about the current network.
class OTReachabilityManager {
public:
    static constexpr const char* kNoNetwork = "NO_NETWORK";
    static constexpr const char* kWiFi = "WIFI";

    explicit OTReachabilityManager(std::shared_ptr<OTReachabilitySource> telephony);

    static std::shared_ptr<OTReachabilityManager> sharedManager();
    void startReachability();
    bool hasNetwork() const { return networkStatus() != 0; }
    bool isWIFI() const { return networkStatus() == 1; }
    bool isCellular() const { return networkStatus() == 2; }
    // The radio in use: "WIFI", the telephony service's technology name, or "NO_NETWORK"; nothing
    // when the telephony object fails.
    std::optional<std::string> telephonyNetworkDescrition() const;
    std::shared_ptr<OTReachability> reachability() const;

private:
    std::int64_t networkStatus() const;

    std::shared_ptr<OTReachabilitySource> telephony_;
    mutable std::mutex mutex_;
    std::shared_ptr<OTReachability> reachability_;
};

}  // namespace corvane
