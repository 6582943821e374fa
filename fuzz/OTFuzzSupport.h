#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

#include "platform/formats/OTJSONLimits.h"

namespace corvane {

// What the fuzz targets share: the input as text or bounded JSON, and invariant checks that
// abort loudly, so that libFuzzer keeps the input that broke one.
class OTFuzzSupport {
public:
    static std::string_view text(const std::uint8_t* data, std::size_t size) {
        return {reinterpret_cast<const char*>(data), size};
    }
    static nlohmann::json json(const std::uint8_t* data, std::size_t size) {
        return OTJSONLimits::parse(text(data, size));
    }
    static void require(bool condition, const char* what) {
        if (condition) return;
        std::fprintf(stderr, "fuzz invariant broken: %s\n", what);
        std::abort();
    }
};

}  // namespace corvane
