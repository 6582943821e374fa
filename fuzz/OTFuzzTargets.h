#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace corvane {

// The fuzz targets: each takes any bytes and must neither crash nor break an invariant (a broken
// invariant aborts). libFuzzer drives each through its own program; the test suite replays the
// seed corpora and every regression input through the same functions.
int otFuzzPropertyList(const std::uint8_t* data, std::size_t size);
int otFuzzCampaign(const std::uint8_t* data, std::size_t size);
int otFuzzEvent(const std::uint8_t* data, std::size_t size);
int otFuzzMatching(const std::uint8_t* data, std::size_t size);
int otFuzzAnswers(const std::uint8_t* data, std::size_t size);
int otFuzzScenario(const std::uint8_t* data, std::size_t size);
int otFuzzHTML(const std::uint8_t* data, std::size_t size);
int otFuzzBanner(const std::uint8_t* data, std::size_t size);

struct OTFuzzTarget {
    const char* name;
    int (*run)(const std::uint8_t* data, std::size_t size);
};

std::span<const OTFuzzTarget> otFuzzTargets();

}  // namespace corvane
