#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/OTReachabilitySource.h"

namespace corvane {

// A network state set by hand (tests, the simulator): starts reachable over Wi-Fi. Every change
// calls the observers synchronously on the caller's thread.
class OTManualReachabilitySource final : public OTReachabilitySource {
public:
    static constexpr Flags kWiFiFlags = 2;  // reachable

    std::optional<Flags> currentFlags() override;
    std::uint64_t addObserver(Observer observer) override;
    void removeObserver(std::uint64_t token) override;
    std::optional<std::string> currentRadioAccessTechnology() override;
    std::map<std::string, std::string> serviceCurrentRadioAccessTechnology() override;

    // Nothing: the flags cannot be read. Observers are told even when the flags stay the same,
    // as the platform may.
    void setFlags(std::optional<Flags> flags);
    void setRadio(std::optional<std::string> current, std::map<std::string, std::string> perService);
    // The telephony object throws `message` from now on (empty: it no longer does).
    void setTelephonyFailure(std::string message);
    std::size_t observerCount() const;

private:
    mutable std::mutex mutex_;
    std::optional<Flags> flags_ = kWiFiFlags;
    std::optional<std::string> radio_;
    std::map<std::string, std::string> serviceRadio_;
    std::string telephonyFailure_;
    std::vector<std::pair<std::uint64_t, Observer>> observers_;
    std::uint64_t nextToken_ = 1;
};

}  // namespace corvane
