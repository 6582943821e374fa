#include "OTFuzzSupport.h"
#include "OTFuzzTargets.h"
#include "foundation/OTDescription.h"
#include "model/OTEvent.h"
#include "model/OTSAEventAdapter.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

int otFuzzEvent(const std::uint8_t* data, std::size_t size) {
    auto& test = OTFuzzSupport::rig<OTTestEnvironment>();
    const OTFuzzSupport::Settle settle(test);
    const auto json = OTFuzzSupport::json(data, size);
    if (json.is_discarded()) return 0;
    (void)OTDescription::describe(json);
    for (std::int64_t source : {0, 1}) {
        const auto adapted = OTSAEventAdapter::adapter()->adaptEvent(json, source);
        auto event = std::make_shared<OTEvent>();
        event->setModelWithDic(adapted.value_or(json));
        (void)event->description();
        (void)event->matches(event.get());
    }
    return 0;
}

}  // namespace corvane
