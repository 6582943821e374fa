#include "OTFuzzSupport.h"
#include "OTFuzzTargets.h"
#include "model/OTEvent.h"
#include "model/OTEventRule.h"
#include "model/OTRuleClause.h"
#include "model/OTWindowData.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

// {"campaign": a campaign, "events": events from the host}: every event against the campaign's
// trigger and each of its pre-events, with every predicate its rules name.
int otFuzzMatching(const std::uint8_t* data, std::size_t size) {
    auto& test = OTFuzzSupport::rig<OTTestEnvironment>();
    const OTFuzzSupport::Settle settle(test);
    const auto json = OTFuzzSupport::json(data, size);
    if (!json.is_object()) return 0;
    auto campaign = std::make_shared<OTWindowData>();
    campaign->setModelWithDic(json.value("campaign", nlohmann::json::object()));
    std::vector<std::shared_ptr<OTEvent>> conditions;
    if (auto trigger = campaign->event()) conditions.push_back(trigger);
    for (const auto& pre : campaign->preEvents()) conditions.push_back(pre);
    const auto events = json.value("events", nlohmann::json::array());
    if (!events.is_array()) return 0;
    for (const auto& element : events) {
        auto event = std::make_shared<OTEvent>();
        event->setModelWithDic(element);
        for (const auto& condition : conditions) {
            (void)event->matches(condition.get());
            (void)event->matchXcontext(condition.get());
            (void)event->matchRules(condition.get());
        }
    }
    // A campaign stepping through its sequence never grows it.
    const auto next = campaign->advancedSequence();
    OTFuzzSupport::require(next->preEvents().size() <= campaign->preEvents().size(), "sequences only shrink");
    return 0;
}

}  // namespace corvane
