#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

namespace corvane {

// The library's decision records as the text transcript shows them with --why: under each event,
// one short line for each campaign that was not shown, saying why in the campaign's own terms
// ("102 not matched: price 50 is not > 100", "103 not eligible: daily cap 5 of 5").
class OTSimulatorDecisions {
public:
    OTSimulatorDecisions() = delete;

    // Prints a decision observation as text; false for other types.
    static bool print(std::ostream& out, const std::string& at, const nlohmann::json& o);
    // Why one campaign (or the pass, for a record's own verdict) was not shown; empty for the
    // verdicts that need no line.
    static std::string line(const nlohmann::json& decision);

private:
    static std::string because(const nlohmann::json& decision);
};

}  // namespace corvane
