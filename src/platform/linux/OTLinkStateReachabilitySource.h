#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/OTReachabilitySource.h"

namespace corvane {

// The network state of a Linux machine: reachable (over "Wi-Fi", which covers wired links too)
// while a non-loopback interface is up with a carrier, not reachable otherwise. Changes come from
// a route netlink socket, watched by one thread from the first observer on. Linux has no
// telephony service, so there is never a radio technology.
class OTLinkStateReachabilitySource final : public OTReachabilitySource {
public:
    explicit OTLinkStateReachabilitySource(std::filesystem::path interfaces = "/sys/class/net");
    ~OTLinkStateReachabilitySource() override;
    OTLinkStateReachabilitySource(const OTLinkStateReachabilitySource&) = delete;
    OTLinkStateReachabilitySource& operator=(const OTLinkStateReachabilitySource&) = delete;

    std::optional<Flags> currentFlags() override;
    std::uint64_t addObserver(Observer observer) override;
    void removeObserver(std::uint64_t token) override;
    std::optional<std::string> currentRadioAccessTechnology() override { return std::nullopt; }
    std::map<std::string, std::string> serviceCurrentRadioAccessTechnology() override { return {}; }

    // The flags that a folder laid out as /sys/class/net gives; nothing when it cannot be read.
    static std::optional<Flags> flagsForInterfaces(const std::filesystem::path& interfaces);

private:
    bool startWatching();
    void watch();
    void notifyObservers();

    std::filesystem::path interfaces_;
    std::mutex mutex_;
    std::vector<std::pair<std::uint64_t, Observer>> observers_;
    std::uint64_t nextToken_ = 1;
    int socket_ = -1;
    int wakeup_ = -1;
    std::thread thread_;
};

}  // namespace corvane
