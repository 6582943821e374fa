#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "core/OTCampaignStore.h"
#include "core/OTFirstPageViewRules.h"

namespace corvane {

class OTEvent;
class OTSDKManager;
class OTWindowData;

// The walk of one event through the in-app campaigns, in list order from a position: each
// campaign is matched (a single trigger, a step of a sequence, or the first-page-view rules) and
// the first that matches goes to the dialog flow, which goes on with the next one when it may not
// be shown. Steps that go on run in a loop of the walk already under way, so long lists never
// deepen the stack; each step carries its event and its position. The engine owns one walk, used
// on its event queue only. While the pass is traced, every campaign's verdict goes into the trace.
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

    using Step = std::pair<std::shared_ptr<OTEvent>, std::uint64_t>;

    OTSDKManager& engine_;
    // The walk under way: a step that goes on leaves its next step here.
    bool active_ = false;
    std::optional<Step> next_;
    // The last position examined and the list it was in, for the campaigns the pass left.
    std::optional<std::uint64_t> lastIndex_;
    std::shared_ptr<const OTCampaignStore::Campaigns> lastList_;
};

}  // namespace corvane
