#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "core/OTSDKManager.h"

namespace corvane {

// Sets the engine's own matching state that nothing outside the engine sets, to start a test
// from a given point.
struct OTSDKManagerProbe {
    static void setWaitingEvents(OTSDKManager& engine, std::vector<std::shared_ptr<OTEvent>> events) {
        engine.waitingEvents_.set(std::move(events));
    }
    static void setCurrentTriggerEvent(OTSDKManager& engine, std::shared_ptr<OTEvent> event) {
        engine.currentTriggerEvent_.set(std::move(event));
    }
    static void setAutoCollectPageInfo(OTSDKManager& engine, bool value) { engine.autoCollectPageInfo_.store(value); }
};

}  // namespace corvane
