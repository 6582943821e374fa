#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace corvane {

// Where the platform's network state comes from: Apple's reachability flags for the all-zero
// address, change events, and the telephony service's radio technologies. On Apple these are
// SystemConfiguration and CoreTelephony; on Linux the link state of the machine's interfaces.
class OTReachabilitySource {
public:
    using Flags = std::uint32_t;
    using Observer = std::function<void()>;

    virtual ~OTReachabilitySource() = default;

    // The current flags; nothing when they cannot be read.
    virtual std::optional<Flags> currentFlags() = 0;
    // Calls `observer` on any thread after every change; the token removes it. Zero: refused.
    virtual std::uint64_t addObserver(Observer observer) = 0;
    virtual void removeObserver(std::uint64_t token) = 0;

    // The radio technology in use ("CTRadioAccessTechnologyLTE", ...), and the same per SIM
    // service. Either may throw, as the telephony object may.
    virtual std::optional<std::string> currentRadioAccessTechnology() = 0;
    virtual std::map<std::string, std::string> serviceCurrentRadioAccessTechnology() = 0;
};

}  // namespace corvane
