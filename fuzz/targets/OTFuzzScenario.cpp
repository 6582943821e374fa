#include <cmath>
#include <sstream>

#include "OTFuzzSupport.h"
#include "OTFuzzTargets.h"
#include "OTScenarioAction.h"
#include "OTSimulatorIdentity.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

// Every line of a scenario through the reader; an action it accepts answers every accessor
// without throwing, with durations, clock moves and providers inside their bounds.
int otFuzzScenario(const std::uint8_t* data, std::size_t size) {
    auto& test = OTFuzzSupport::rig<OTTestEnvironment>();
    const OTFuzzSupport::Settle settle(test);
    std::istringstream lines{std::string(OTFuzzSupport::text(data, size))};
    std::string line;
    while (std::getline(lines, line)) {
        const auto parsed = OTScenarioAction::parse(line);
        const auto* action = std::get_if<OTScenarioAction>(&parsed);
        if (action == nullptr) continue;
        for (const char* key : {"seconds", "timeout", "delay"}) {
            const auto duration = action->duration(key, 0);
            OTFuzzSupport::require(duration.count() >= 0 && duration <= OTScenarioAction::kMaxDuration,
                                   "durations stay within their bound");
        }
        for (const char* key : {"group", "page", "state", "element", "type", "path"}) (void)action->text(key, "");
        for (const char* key : {"count", "status", "code", "type"}) (void)action->integer(key, 0);
        if (action->name() == "clock") {
            OTFuzzSupport::require(
                std::fabs(action->value("advance").get<double>()) <= OTScenarioAction::kMaxClockAdvance,
                "the clock moves within its bound");
        }
        OTFuzzSupport::require(action->integer("provider", 0) >= 0, "providers are not negative");
        if (action->has("hex")) {
            const auto hex = action->text("hex", "");
            const auto bytes = OTSimulatorIdentity::bytesFromHex(hex);
            OTFuzzSupport::require(!bytes || bytes->size() * 2 == hex.size(), "two digits make each byte");
        }
        (void)action->flag("visible", true);
        (void)action->value("profile");
    }
    return 0;
}

}  // namespace corvane
