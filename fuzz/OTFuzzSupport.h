#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <string_view>

#include "foundation/OTJSONLimits.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

// What the fuzz targets share: the input as text or bounded JSON, and invariant checks that
// abort loudly, so that libFuzzer keeps the input that broke one.
class OTFuzzSupport {
public:
    static constexpr std::size_t kInputsPerRig = 5000;

    static std::string_view text(const std::uint8_t* data, std::size_t size) {
        return {reinterpret_cast<const char*>(data), size};
    }
    static nlohmann::json json(const std::uint8_t* data, std::size_t size) {
        return OTJSONLimits::parse(text(data, size));
    }
    // The rig a target runs in (an environment, with an engine or a screen when the target needs
    // one), made anew every few thousand inputs: the library logs to files in its sandbox, and a
    // fresh sandbox keeps a run of millions of inputs within a few log files.
    template <class Rig>
    static Rig& rig() {
        static std::unique_ptr<Rig> current;
        static std::size_t uses = 0;
        if (!current || ++uses % kInputsPerRig == 0) {
            current.reset();
            current = std::make_unique<Rig>();
        }
        return *current;
    }
    // Runs what an input left queued (log lines, above all) when the input is done.
    class Settle {
    public:
        explicit Settle(OTTestEnvironment& test) : test_(test) {}
        ~Settle() { test_.scheduler().runUntilIdle(); }
        Settle(const Settle&) = delete;
        Settle& operator=(const Settle&) = delete;

    private:
        OTTestEnvironment& test_;
    };
    static void require(bool condition, const char* what) {
        if (condition) return;
        std::fprintf(stderr, "fuzz invariant broken: %s\n", what);
        std::abort();
    }
};

}  // namespace corvane
