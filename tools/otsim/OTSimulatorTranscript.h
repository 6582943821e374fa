#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

namespace corvane {

// The simulator's text transcript: each observation as the lines a person reads, with the
// seconds since the run began in front.
class OTSimulatorTranscript {
public:
    OTSimulatorTranscript() = delete;

    static void print(std::ostream& out, const nlohmann::json& o);
    // The same lines with `at` in place of the time.
    static void print(std::ostream& out, const std::string& at, const nlohmann::json& o);
    // A text as it stands, anything else as its JSON.
    static std::string text(const nlohmann::json& value);
};

}  // namespace corvane
