#include "OTFuzzTargets.h"

#include <array>

namespace corvane {

std::span<const OTFuzzTarget> otFuzzTargets() {
    static constexpr std::array<OTFuzzTarget, 7> kTargets{{
        {"property_list", otFuzzPropertyList},
        {"campaign", otFuzzCampaign},
        {"event", otFuzzEvent},
        {"matching", otFuzzMatching},
        {"answers", otFuzzAnswers},
        {"scenario", otFuzzScenario},
        {"html", otFuzzHTML},
    }};
    return kTargets;
}

}  // namespace corvane
