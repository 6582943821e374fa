#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <utility>
#include <vector>

#include "core/OTSDKManager.h"
#include "platform/OTDispatchQueue.h"
#include "platform/linux/OTThreadScheduler.h"

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
    // Runs the main loop until everything handed to the event queue so far has run there; what the
    // queue wrote is then safe to read from the calling thread.
    static bool drained(OTThreadScheduler& scheduler, OTSDKManager& engine) {
        std::atomic<bool> done{false};
        engine.onLane([&done](OTSDKManager&) { done = true; });
        return scheduler.runMainLoopUntil([&] { return done.load(); }, std::chrono::seconds(20));
    }
    static void setAutoCollectPageInfo(OTSDKManager& engine, bool value) { engine.autoCollectPageInfo_.store(value); }
};

}  // namespace corvane
