#include "platform/deterministic/OTManualReachabilitySource.h"

#include <stdexcept>

namespace corvane {

std::optional<OTReachabilitySource::Flags> OTManualReachabilitySource::currentFlags() {
    std::lock_guard lock(mutex_);
    return flags_;
}

std::uint64_t OTManualReachabilitySource::addObserver(Observer observer) {
    if (!observer) return 0;
    std::lock_guard lock(mutex_);
    observers_.emplace_back(nextToken_, std::move(observer));
    return nextToken_++;
}

void OTManualReachabilitySource::removeObserver(std::uint64_t token) {
    std::lock_guard lock(mutex_);
    std::erase_if(observers_, [&](const auto& entry) { return entry.first == token; });
}

std::optional<std::string> OTManualReachabilitySource::currentRadioAccessTechnology() {
    std::lock_guard lock(mutex_);
    if (!telephonyFailure_.empty()) throw std::runtime_error(telephonyFailure_);
    return radio_;
}

std::map<std::string, std::string> OTManualReachabilitySource::serviceCurrentRadioAccessTechnology() {
    std::lock_guard lock(mutex_);
    if (!telephonyFailure_.empty()) throw std::runtime_error(telephonyFailure_);
    return serviceRadio_;
}

void OTManualReachabilitySource::setFlags(std::optional<Flags> flags) {
    std::vector<Observer> targets;
    {
        std::lock_guard lock(mutex_);
        flags_ = flags;
        for (const auto& entry : observers_) targets.push_back(entry.second);
    }
    for (const auto& observer : targets) observer();
}

void OTManualReachabilitySource::setRadio(std::optional<std::string> current,
                                          std::map<std::string, std::string> perService) {
    std::lock_guard lock(mutex_);
    radio_ = std::move(current);
    serviceRadio_ = std::move(perService);
}

void OTManualReachabilitySource::setTelephonyFailure(std::string message) {
    std::lock_guard lock(mutex_);
    telephonyFailure_ = std::move(message);
}

std::size_t OTManualReachabilitySource::observerCount() const {
    std::lock_guard lock(mutex_);
    return observers_.size();
}

}  // namespace corvane
