#include "platform/linux/OTThreadScheduler.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <utility>
#include <vector>

namespace corvane {

namespace {
thread_local const void* tThreadSchedulerLane = nullptr;
constexpr unsigned kConcurrentWorkers = 2;
using SteadyTime = std::chrono::steady_clock::time_point;
}  // namespace

class OTThreadScheduler::Lane final : public OTDispatchQueue, public std::enable_shared_from_this<Lane> {
public:
    Lane(std::string label, bool concurrent, std::shared_ptr<const MainThread> mainThread, bool isMain)
        : OTDispatchQueue(std::move(label), concurrent), mainThread_(std::move(mainThread)), isMain_(isMain) {}

    ~Lane() override { stop(); }

    // Workers keep the lane alive, so a lane stopped from its own work is destroyed only after it.
    void start(unsigned workers) {
        for (unsigned i = 0; i < workers; ++i) threads_.emplace_back([self = shared_from_this()] { self->workLoop(); });
    }

    void async(Work work) override { after(std::chrono::nanoseconds(0), std::move(work)); }

    void after(std::chrono::nanoseconds delay, Work work) override {
        if (!work) return;
        if (delay.count() < 0) delay = std::chrono::nanoseconds(0);
        {
            std::lock_guard lock(mutex_);
            if (stopped_) return;
            pending_.emplace(std::make_pair(std::chrono::steady_clock::now() + delay, sequence_++), std::move(work));
        }
        // The main lane may have both its loop and its waker waiting.
        wake_.notify_all();
    }

    void sync(const Work& work) override {
        if (!work) return;
        if (isCurrent() || (isConcurrent() && !isMainLane())) {
            runMarked(work);
            return;
        }
        auto done = std::make_shared<std::promise<void>>();
        auto finished = done->get_future();
        async([&work, done] {
            try {
                work();
            } catch (...) {}
            done->set_value();
        });
        finished.wait();
    }

    bool isCurrent() const override {
        if (tThreadSchedulerLane == this) return true;
        return isMainLane() && std::this_thread::get_id() == mainThread_->load();
    }

    bool isMainLane() const { return isMain_; }

    // Main lane only: runs due work on the calling thread until `done` or the deadline.
    bool runUntil(const std::function<bool()>& done, SteadyTime deadline) {
        for (;;) {
            while (runOneDue()) {
                if (done && done()) return true;
            }
            if (done && done()) return true;
            std::unique_lock lock(mutex_);
            if (stopped_) return false;
            // Wake at least every 10 ms: `done` may turn true through work on other queues.
            auto wakeAt = std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(10));
            if (!pending_.empty() && pending_.begin()->first.first < wakeAt) wakeAt = pending_.begin()->first.first;
            wake_.wait_until(lock, wakeAt);
            if (std::chrono::steady_clock::now() >= deadline && !hasDueLocked()) {
                lock.unlock();
                return done && done();
            }
        }
    }

    std::size_t drain() {
        std::size_t ran = 0;
        while (runOneDue()) ++ran;
        {
            // Cleared only once nothing is due: what falls due from now on wakes the host again.
            std::lock_guard lock(mutex_);
            woken_ = false;
        }
        wake_.notify_all();
        return ran;
    }

    // Main lane only: a thread of its own waits for work to fall due and calls `waker`, once until
    // the next drain.
    void setWaker(std::function<void()> waker) {
        {
            std::lock_guard lock(mutex_);
            if (stopped_) return;
            waker_ = std::move(waker);
            woken_ = false;
            if (waker_ && !wakerThread_.joinable()) {
                wakerThread_ = std::thread([self = shared_from_this()] { self->wakerLoop(); });
            }
        }
        wake_.notify_all();
    }

    void stop() {
        std::map<std::pair<SteadyTime, std::uint64_t>, Work> dropped;
        {
            std::lock_guard lock(mutex_);
            stopped_ = true;
            dropped.swap(pending_);
        }
        wake_.notify_all();
        for (auto& t : threads_) finish(t);
        std::thread waker;
        {
            std::lock_guard lock(mutex_);
            waker.swap(wakerThread_);
            waker_ = nullptr;
        }
        finish(waker);
    }

private:
    // A lane stopped from its own thread cannot join it; that thread ends after its current work.
    static void finish(std::thread& thread) {
        if (!thread.joinable()) return;
        if (thread.get_id() == std::this_thread::get_id()) thread.detach();
        else thread.join();
    }

    void wakerLoop() {
        std::unique_lock lock(mutex_);
        while (!stopped_) {
            if (!waker_ || woken_ || pending_.empty()) {
                wake_.wait(lock);
                continue;
            }
            const auto due = pending_.begin()->first.first;
            if (due > std::chrono::steady_clock::now()) {
                wake_.wait_until(lock, due);
                continue;
            }
            woken_ = true;
            auto waker = waker_;
            // The host may drain, or set another waker, from inside its waker.
            lock.unlock();
            try {
                waker();
            } catch (...) {}
            lock.lock();
        }
    }

    bool hasDueLocked() const {
        return !pending_.empty() && pending_.begin()->first.first <= std::chrono::steady_clock::now();
    }

    bool runOneDue() {
        Work work;
        {
            std::lock_guard lock(mutex_);
            if (stopped_ || !hasDueLocked()) return false;
            auto node = pending_.extract(pending_.begin());
            work = std::move(node.mapped());
        }
        runMarked(work);
        return true;
    }

    void runMarked(const Work& work) {
        const void* previous = tThreadSchedulerLane;
        tThreadSchedulerLane = this;
        try {
            work();
        } catch (...) {}
        tThreadSchedulerLane = previous;
    }

    void workLoop() {
        std::unique_lock lock(mutex_);
        while (!stopped_) {
            if (pending_.empty()) {
                wake_.wait(lock);
                continue;
            }
            auto first = pending_.begin();
            // A copy: another worker or a stop may take the entry while the lock is let go.
            const auto due = first->first.first;
            if (due > std::chrono::steady_clock::now()) {
                wake_.wait_until(lock, due);
                continue;
            }
            Work work = std::move(first->second);
            pending_.erase(first);
            lock.unlock();
            runMarked(work);
            work = nullptr;  // captured state dies outside the lock
            lock.lock();
        }
    }

    const std::shared_ptr<const MainThread> mainThread_;
    const bool isMain_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::map<std::pair<SteadyTime, std::uint64_t>, Work> pending_;
    std::uint64_t sequence_ = 0;
    bool stopped_ = false;
    std::vector<std::thread> threads_;
    std::function<void()> waker_;
    bool woken_ = false;
    std::thread wakerThread_;
};

OTThreadScheduler::OTThreadScheduler() : mainThread_(std::make_shared<MainThread>(std::this_thread::get_id())) {}

OTThreadScheduler::~OTThreadScheduler() { shutdown(); }

std::shared_ptr<OTDispatchQueue> OTThreadScheduler::mainQueue() {
    std::lock_guard lock(mutex_);
    if (!main_) main_ = std::make_shared<Lane>(kMainQueueLabel, false, mainThread_, true);
    if (stopped_) main_->stop();
    return main_;
}

std::shared_ptr<OTDispatchQueue> OTThreadScheduler::queue(const std::string& label, bool concurrent) {
    if (label == kMainQueueLabel) return mainQueue();
    std::lock_guard lock(mutex_);
    auto& lane = lanes_[label];
    if (!lane) {
        lane = std::make_shared<Lane>(label, concurrent, mainThread_, false);
        if (stopped_) lane->stop();
        else lane->start(concurrent ? kConcurrentWorkers : 1);
    }
    return lane;
}

void OTThreadScheduler::shutdown() {
    std::vector<std::shared_ptr<Lane>> lanes;
    {
        std::lock_guard lock(mutex_);
        stopped_ = true;
        if (main_) lanes.push_back(main_);
        for (auto& [label, lane] : lanes_) lanes.push_back(lane);
    }
    for (auto& lane : lanes) lane->stop();
}

bool OTThreadScheduler::runMainLoopUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    auto lane = std::static_pointer_cast<Lane>(mainQueue());
    return lane->runUntil(done, std::chrono::steady_clock::now() + timeout);
}

bool OTThreadScheduler::isMainThread() const { return std::this_thread::get_id() == mainThread_->load(); }

void OTThreadScheduler::adoptMainThread() { mainThread_->store(std::this_thread::get_id()); }

void OTThreadScheduler::setMainQueueWaker(const std::function<void()>& waker) {
    std::static_pointer_cast<Lane>(mainQueue())->setWaker(waker);
}

std::size_t OTThreadScheduler::drainMainQueue() {
    if (!isMainThread()) return 0;
    return std::static_pointer_cast<Lane>(mainQueue())->drain();
}

}  // namespace corvane
