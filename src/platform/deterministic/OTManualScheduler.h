#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "platform/OTScheduler.h"
#include "platform/deterministic/OTVirtualClock.h"

namespace corvane {

// Virtual-time scheduler for tests and deterministic runs: every queue is a lane of one timeline.
// Work runs only when the driving thread (the one that made the scheduler) calls advance(),
// runUntilIdle() or runUntil(); due work runs in (due time, submission order) and the virtual clock
// reads each item's due time while it runs. Other threads (an HTTP session, say) may post work;
// it waits for the driver.
class OTManualScheduler final : public OTScheduler, public std::enable_shared_from_this<OTManualScheduler> {
public:
    explicit OTManualScheduler(std::shared_ptr<OTVirtualClock> clock);
    ~OTManualScheduler() override;

    std::shared_ptr<OTDispatchQueue> mainQueue() override;
    std::shared_ptr<OTDispatchQueue> queue(const std::string& label, bool concurrent = false) override;
    void shutdown() override;
    // Runs nothing more and takes no more work, from inside work too (a simulated crash stops the
    // process there); what is pending goes at shutdown.
    void halt();

    // Moves the clock forward by `by`, running everything that falls due on the way (also work
    // scheduled by that work). Returns the number of items run.
    std::size_t advance(OTClock::Duration by);
    // Runs everything due now, without moving the clock.
    std::size_t runUntilIdle();
    // The driving thread.
    bool isMainThread() const override;
    // Runs the main queue's work due now, the other queues' left waiting.
    std::size_t drainMainQueue() override;
    // Runs due work and waits (in real time, up to `realTimeout`) for work from other threads until
    // `done` holds, testing it after each piece of work and every 10 ms. Virtual time does not
    // move. Returns whether `done` held.
    bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds realTimeout);

    // How often a queue ran work and for how long in real time, work it waited on included.
    struct LaneUse {
        std::size_t runs = 0;
        std::chrono::nanoseconds busy{0};
    };
    // By queue label; for the driving thread.
    std::map<std::string, LaneUse> laneUse() const;
    void resetLaneUse();

    std::size_t pendingCount() const;
    std::optional<OTClock::TimePoint> nextDueTime() const;
    const std::shared_ptr<OTVirtualClock>& clock() const { return clock_; }

private:
    class Lane;
    struct Item {
        Lane* lane;
        OTDispatchQueue::Work work;
    };
    using Key = std::pair<OTClock::TimePoint, std::uint64_t>;

    void post(Lane* lane, OTClock::TimePoint due, OTDispatchQueue::Work work);
    void syncOn(Lane* lane, const OTDispatchQueue::Work& work);
    bool isCurrent(const Lane* lane) const;
    bool isDriver() const;
    // Takes the first item due at or before `limit` (of `only` lane when given).
    std::optional<std::pair<Key, Item>> takeDue(OTClock::TimePoint limit, const Lane* only);
    void run(Item& item);

    const std::shared_ptr<OTVirtualClock> clock_;
    const std::thread::id driver_;
    mutable std::mutex mutex_;
    std::condition_variable posted_;
    std::map<Key, Item> timeline_;
    std::map<std::string, std::shared_ptr<Lane>> lanes_;
    std::shared_ptr<Lane> main_;
    std::uint64_t sequence_ = 0;
    bool stopped_ = false;
};

}  // namespace corvane
