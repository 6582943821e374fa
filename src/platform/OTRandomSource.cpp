#include "platform/OTRandomSource.h"

namespace corvane {

OTRandomSource::OTRandomSource(std::optional<std::uint32_t> seed) : engine_(seed ? *seed : std::random_device{}()) {}

std::uint32_t OTRandomSource::next() {
    std::lock_guard lock(mutex_);
    return static_cast<std::uint32_t>(engine_());
}

std::uint32_t OTRandomSource::uniform(std::uint32_t upperBound) {
    if (upperBound == 0) return 0;
    std::lock_guard lock(mutex_);
    return std::uniform_int_distribution<std::uint32_t>(0, upperBound - 1)(engine_);
}

}  // namespace corvane
