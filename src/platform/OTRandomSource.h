#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <random>

namespace corvane {

// 32-bit random numbers: seeded from the OS in production, from a fixed seed in tests.
class OTRandomSource {
public:
    explicit OTRandomSource(std::optional<std::uint32_t> seed = std::nullopt);
    std::uint32_t next();
    // Uniform in [0, upperBound); 0 when upperBound is 0.
    std::uint32_t uniform(std::uint32_t upperBound);

private:
    std::mutex mutex_;
    std::mt19937 engine_;
};

}  // namespace corvane
