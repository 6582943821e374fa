#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "core/OTSDKManager.h"
#include "platform/OTDispatchQueue.h"

namespace corvane {

// Sets the engine's own matching state that nothing outside the engine sets, to start a test
// from a given point.
struct OTSDKManagerProbe {
    // On the event queue, which owns them.
    static void setWaitingEvents(OTSDKManager& engine, std::vector<std::shared_ptr<OTEvent>> events) {
        engine.onLane(
            [events = std::move(events)](OTSDKManager& lane) mutable { lane.waitingEvents_ = std::move(events); });
    }
    static void setCurrentTriggerEvent(OTSDKManager& engine, std::shared_ptr<OTEvent> event) {
        engine.currentTriggerEvent_.set(std::move(event));
    }
    // Runs `work` on the engine's event queue and waits for it (with the manual scheduler, on the
    // driving thread, after what was queued there before).
    template <class Work>
    static void onLane(OTSDKManager& engine, Work&& work) {
        engine.lane_->sync([&] { work(engine); });
    }
    static void setAutoCollectPageInfo(OTSDKManager& engine, bool value) { engine.autoCollectPageInfo_.store(value); }
};

}  // namespace corvane
