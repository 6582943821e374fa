#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace corvane {

class CorvaneOtConfig;

// Reads a start configuration from a JSON object, as hosts hand it through the C interface and
// scenarios write it for the simulator: "appKey", "mainPage", "url" and
// "applicationGroupIdentifier" are texts (null for none), "envType", "logLevelType" and
// "pushProvider" whole numbers, "pushClosed" and "bannerClosed" booleans; other keys are ignored.
class OTConfigurationReader {
public:
    // Sets on `config` every field `object` holds. A field of the wrong kind stops the reading:
    // false, with `problem` naming the key; `config` may then hold the fields read before it.
    static bool apply(const nlohmann::json& object, CorvaneOtConfig& config, std::string& problem);
    // Whether `key` is one of the fields read.
    static bool knows(const std::string& key);
};

}  // namespace corvane
