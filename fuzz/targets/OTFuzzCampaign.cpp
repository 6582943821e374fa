#include "OTFuzzSupport.h"
#include "OTFuzzTargets.h"
#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTKeyedUnarchiver.h"
#include "model/OTWindowData.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

int otFuzzCampaign(const std::uint8_t* data, std::size_t size) {
    auto& test = OTFuzzSupport::rig<OTTestEnvironment>();
    const OTFuzzSupport::Settle settle(test);
    const auto json = OTFuzzSupport::json(data, size);
    if (json.is_discarded()) return 0;
    // A campaign, or a list answer's "data" of campaigns.
    std::vector<std::shared_ptr<OTWindowData>> campaigns;
    const auto& list = json.is_object() && json.contains("data") ? json["data"] : json;
    for (const auto& element : list.is_array() ? list : nlohmann::json::array({list})) {
        auto campaign = std::make_shared<OTWindowData>();
        campaign->setModelWithDic(element);
        (void)campaign->description();
        campaigns.push_back(std::move(campaign));
    }
    // Campaigns built from bounded JSON always archive, and read back as many.
    const auto bytes = OTKeyedArchiver::archivedData(campaigns);
    OTFuzzSupport::require(bytes.has_value(), "campaigns from bounded JSON archive");
    OTFuzzSupport::require(OTPropertyList::fromBinary(*bytes).has_value(), "archived campaigns read");
    const auto back = OTKeyedUnarchiver::unarchivedArrayOfObjectsOfClass<OTWindowData>(*bytes);
    OTFuzzSupport::require(back.has_value() && back->size() == campaigns.size(), "every campaign reads back");
    for (std::size_t i = 0; i < campaigns.size(); ++i) {
        // The one change a round trip makes: a trigger's count 0 is read back as 1.
        auto& campaign = *campaigns[i];
        auto events = campaign.preEvents();
        events.push_back(campaign.storedEvent());
        events.push_back(campaign.preEvent());
        for (const auto& event : events) {
            if (event && event->count() == 0) event->setCount(1);
        }
        campaign.setEvent(campaign.storedEvent());  // drops the description worked out before
        OTFuzzSupport::require((*back)[i]->description() == campaign.description(), "a campaign reads back whole");
    }
    return 0;
}

}  // namespace corvane
