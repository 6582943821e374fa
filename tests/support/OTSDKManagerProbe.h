#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
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
    // What `read` gives on the event queue, the main loop running meanwhile (the queue may wait for
    // it); empty when the queue did not answer in time.
    template <class Read>
    static auto readOnLane(OTThreadScheduler& scheduler, OTSDKManager& engine, Read read)
        -> std::optional<decltype(read(engine))> {
        struct Answer {
            std::atomic<bool> done{false};
            std::optional<decltype(read(engine))> value;
        };
        auto answer = std::make_shared<Answer>();
        engine.onLane([answer, read](OTSDKManager& lane) {
            answer->value = read(lane);
            answer->done = true;
        });
        if (!scheduler.runMainLoopUntil([&] { return answer->done.load(); }, std::chrono::seconds(20))) return {};
        return std::move(answer->value);
    }
    // The number of in-app campaigns, read on the event queue.
    static std::size_t inAppCount(OTThreadScheduler& scheduler, OTSDKManager& engine) {
        return readOnLane(scheduler, engine,
                          [](OTSDKManager& lane) { return lane.campaigns().inAppDataArray().size(); })
            .value_or(0);
    }
    // Asks the event queue until the in-app list holds `count` campaigns.
    static bool waitForInApp(OTThreadScheduler& scheduler, OTSDKManager& engine, std::size_t count) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (inAppCount(scheduler, engine) != count) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            scheduler.runMainLoopUntil([] { return false; }, std::chrono::milliseconds(10));
        }
        return true;
    }
    static void setAutoCollectPageInfo(OTSDKManager& engine, bool value) { engine.autoCollectPageInfo_.store(value); }
};

}  // namespace corvane
