#pragma once

#include <cstdint>
#include <memory>

#include "core/OTCampaignStore.h"
#include "core/OTFirstPageViewRules.h"

namespace corvane {

class OTEvent;
class OTSDKManager;
class OTWindowData;

// The walk of one event through the in-app campaigns, in list order from a position: each
// campaign is matched (a single trigger, a step of a sequence, or the first-page-view rules) and
// the first that matches goes to the dialog flow, which goes on with the next one when it may not
// be shown. Steps that go on run in a loop of the walk already under way on this thread, so long
// lists never deepen the stack; each step carries its event and its position to wherever it goes
// on, on any queue. While the pass is traced, every campaign's verdict goes into the trace.
class OTInAppWalk {
public:
    explicit OTInAppWalk(OTSDKManager& engine) : engine_(engine) {}

    // `pass` names what started the walk in its trace when no traced pass is under way.
    void run(const std::shared_ptr<OTEvent>& event, std::uint64_t startIndex, const char* pass);

private:
    // The campaign at one position.
    void examine(const std::shared_ptr<OTEvent>& event, std::uint64_t index);
    void handleEvent(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<const OTWindowData>& data,
                     std::uint64_t index);
    // The campaign at `index` matched the first of its steps: the pass ends there.
    void advanceSequences(const std::shared_ptr<OTEvent>& event, const OTCampaignStore::Campaigns& campaigns,
                          std::uint64_t index);
    void firstPVWithoutMainPage(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<const OTWindowData>& data,
                                std::uint64_t index);
    void firstPVWithMainPage(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<const OTWindowData>& data,
                             std::uint64_t index);
    void followFirstPageView(OTFirstPageViewRules::Decision decision, const std::shared_ptr<OTEvent>& event,
                             const std::shared_ptr<const OTWindowData>& data, std::uint64_t index,
                             const OTFirstPageViewRules::Page& page);
    void keepWaiting(const std::shared_ptr<OTEvent>& event);
    void goNext(const std::shared_ptr<OTEvent>& event, std::uint64_t index);

    OTSDKManager& engine_;
};

}  // namespace corvane
