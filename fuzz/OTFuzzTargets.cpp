#include "OTFuzzTargets.h"

#include <array>

namespace corvane {

std::span<const OTFuzzTarget> otFuzzTargets() {
    static constexpr std::array<OTFuzzTarget, 8> kTargets{{
        {"property_list", otFuzzPropertyList},
        {"campaign", otFuzzCampaign},
        {"event", otFuzzEvent},
        {"matching", otFuzzMatching},
        {"answers", otFuzzAnswers},
        {"scenario", otFuzzScenario},
        {"html", otFuzzHTML},
        {"banner", otFuzzBanner},
    }};
    return kTargets;
}

}  // namespace corvane
