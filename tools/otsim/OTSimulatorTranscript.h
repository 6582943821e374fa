#pragma once

#include <nlohmann/json.hpp>
#include <ostream>

namespace corvane {

// The simulator's text transcript: each observation as the lines a person reads, with the
// seconds since the run began in front.
class OTSimulatorTranscript {
public:
    OTSimulatorTranscript() = delete;

    static void print(std::ostream& out, const nlohmann::json& o);
};

}  // namespace corvane
