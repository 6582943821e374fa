#include "platform/deterministic/OTManualScheduler.h"

#include <algorithm>
#include <future>

namespace corvane {

namespace {
// The lane whose work this thread is running, innermost first when syncs nest.
thread_local const void* tManualSchedulerLane = nullptr;
// Stops a self-feeding chain of immediate work from spinning forever.
constexpr std::size_t kMaxItemsPerDrain = 100'000;
}  // namespace

class OTManualScheduler::Lane final : public OTDispatchQueue {
public:
    Lane(std::weak_ptr<OTManualScheduler> owner, std::string label, bool concurrent, bool isMain)
        : OTDispatchQueue(std::move(label), concurrent), owner_(std::move(owner)), isMain_(isMain) {}

    void async(Work work) override { after(std::chrono::nanoseconds(0), std::move(work)); }

    void after(std::chrono::nanoseconds delay, Work work) override {
        if (!work) return;
        auto owner = owner_.lock();
        if (!owner) return;
        if (delay.count() < 0) delay = std::chrono::nanoseconds(0);
        owner->post(this, owner->clock_->now() + std::chrono::duration_cast<OTClock::Duration>(delay), std::move(work));
    }

    void sync(const Work& work) override {
        if (!work) return;
        if (auto owner = owner_.lock()) owner->syncOn(this, work);
    }

    bool isCurrent() const override {
        auto owner = owner_.lock();
        return owner && owner->isCurrent(this);
    }

    bool isMain() const { return isMain_; }
    // Written and read by the driving thread only: it alone runs work.
    LaneUse use;

private:
    const std::weak_ptr<OTManualScheduler> owner_;
    const bool isMain_;
};

OTManualScheduler::OTManualScheduler(std::shared_ptr<OTVirtualClock> clock)
    : clock_(std::move(clock)), driver_(std::this_thread::get_id()) {}

OTManualScheduler::~OTManualScheduler() = default;

std::shared_ptr<OTDispatchQueue> OTManualScheduler::mainQueue() {
    std::lock_guard lock(mutex_);
    if (!main_) main_ = std::make_shared<Lane>(weak_from_this(), kMainQueueLabel, false, true);
    return main_;
}

std::shared_ptr<OTDispatchQueue> OTManualScheduler::queue(const std::string& label, bool concurrent) {
    if (label == kMainQueueLabel) return mainQueue();
    std::lock_guard lock(mutex_);
    auto& lane = lanes_[label];
    if (!lane) lane = std::make_shared<Lane>(weak_from_this(), label, concurrent, false);
    return lane;
}

void OTManualScheduler::shutdown() {
    std::map<Key, Item> dropped;
    {
        std::lock_guard lock(mutex_);
        stopped_ = true;
        dropped.swap(timeline_);
    }
    posted_.notify_all();
    // `dropped` is destroyed outside the lock: captured objects may post from their destructors.
}

void OTManualScheduler::halt() {
    std::lock_guard lock(mutex_);
    stopped_ = true;
}

void OTManualScheduler::post(Lane* lane, OTClock::TimePoint due, OTDispatchQueue::Work work) {
    {
        std::lock_guard lock(mutex_);
        if (stopped_) return;
        timeline_.emplace(Key{due, sequence_++}, Item{lane, std::move(work)});
    }
    posted_.notify_all();
}

bool OTManualScheduler::isDriver() const { return std::this_thread::get_id() == driver_; }

bool OTManualScheduler::isCurrent(const Lane* lane) const {
    if (tManualSchedulerLane == lane) return true;
    // Outside any work, the driving thread plays the main thread.
    return lane->isMain() && tManualSchedulerLane == nullptr && isDriver();
}

void OTManualScheduler::syncOn(Lane* lane, const OTDispatchQueue::Work& work) {
    if (isCurrent(lane)) {
        work();
        return;
    }
    if (!isDriver()) {
        // Another thread: hand the work to the driver and wait, as a real queue would.
        auto done = std::make_shared<std::promise<void>>();
        auto finished = done->get_future();
        post(lane, clock_->now(), [&work, done] {
            try {
                work();
            } catch (...) {}
            done->set_value();
        });
        {
            std::lock_guard lock(mutex_);
            if (stopped_) return;
        }
        finished.wait();
        return;
    }
    if (!lane->isConcurrent()) {
        // A serial queue finishes what was submitted before the sync first.
        while (auto due = takeDue(clock_->now(), lane)) run(due->second);
    }
    Item item{lane, work};
    run(item);
}

std::optional<std::pair<OTManualScheduler::Key, OTManualScheduler::Item>> OTManualScheduler::takeDue(
    OTClock::TimePoint limit, const Lane* only) {
    std::lock_guard lock(mutex_);
    if (stopped_) return std::nullopt;
    for (auto it = timeline_.begin(); it != timeline_.end() && it->first.first <= limit; ++it) {
        if (only != nullptr && it->second.lane != only) continue;
        auto node = timeline_.extract(it);
        return std::make_pair(node.key(), std::move(node.mapped()));
    }
    return std::nullopt;
}

void OTManualScheduler::run(Item& item) {
    const void* previous = tManualSchedulerLane;
    tManualSchedulerLane = item.lane;
    const auto started = std::chrono::steady_clock::now();
    try {
        item.work();
    } catch (...) {}
    item.lane->use.runs += 1;
    item.lane->use.busy += std::chrono::steady_clock::now() - started;
    tManualSchedulerLane = previous;
}

std::map<std::string, OTManualScheduler::LaneUse> OTManualScheduler::laneUse() const {
    std::lock_guard lock(mutex_);
    std::map<std::string, LaneUse> use;
    if (main_) use[main_->label()] = main_->use;
    for (const auto& [label, lane] : lanes_) use[label] = lane->use;
    return use;
}

void OTManualScheduler::resetLaneUse() {
    std::lock_guard lock(mutex_);
    if (main_) main_->use = {};
    for (const auto& entry : lanes_) entry.second->use = {};
}

std::size_t OTManualScheduler::advance(OTClock::Duration by) {
    if (by.count() < 0) by = OTClock::Duration(0);
    const OTClock::TimePoint target = clock_->now() + by;
    std::size_t ran = 0;
    while (ran < kMaxItemsPerDrain) {
        auto due = takeDue(target, nullptr);
        if (!due) break;
        if (due->first.first > clock_->now()) clock_->setNow(due->first.first);
        run(due->second);
        ++ran;
    }
    if (clock_->now() < target) clock_->setNow(target);
    return ran;
}

std::size_t OTManualScheduler::runUntilIdle() { return advance(OTClock::Duration(0)); }

bool OTManualScheduler::isMainThread() const { return std::this_thread::get_id() == driver_; }

std::size_t OTManualScheduler::drainMainQueue() {
    if (!isMainThread()) return 0;
    const auto* lane = static_cast<const Lane*>(mainQueue().get());
    std::size_t ran = 0;
    while (ran < kMaxItemsPerDrain) {
        auto due = takeDue(clock_->now(), lane);
        if (!due) break;
        run(due->second);
        ++ran;
    }
    return ran;
}

bool OTManualScheduler::runUntil(const std::function<bool()>& done, std::chrono::milliseconds realTimeout) {
    const auto deadline = std::chrono::steady_clock::now() + realTimeout;
    for (;;) {
        runUntilIdle();
        if (done()) return true;
        if (std::chrono::steady_clock::now() >= deadline) return done();
        std::unique_lock lock(mutex_);
        // Wake at least every 10 ms: `done` may turn true on another thread without posting work.
        const auto wakeAt = std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(10));
        posted_.wait_until(lock, wakeAt, [&] {
            return stopped_ || (!timeline_.empty() && timeline_.begin()->first.first <= clock_->now());
        });
        if (stopped_) {
            lock.unlock();
            runUntilIdle();
            return done();
        }
    }
}

std::size_t OTManualScheduler::pendingCount() const {
    std::lock_guard lock(mutex_);
    return timeline_.size();
}

std::optional<OTClock::TimePoint> OTManualScheduler::nextDueTime() const {
    std::lock_guard lock(mutex_);
    if (timeline_.empty()) return std::nullopt;
    return timeline_.begin()->first.first;
}

}  // namespace corvane
