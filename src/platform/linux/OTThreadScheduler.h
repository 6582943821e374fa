#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/OTScheduler.h"

namespace corvane {

// Real queues: one worker thread per serial queue, a small pool per concurrent queue, and a main
// queue whose work runs on the main thread (the one that made the scheduler, or the last to adopt
// the role) whenever that thread runs the main loop (the host app or the simulator does).
class OTThreadScheduler final : public OTScheduler, public std::enable_shared_from_this<OTThreadScheduler> {
public:
    OTThreadScheduler();
    ~OTThreadScheduler() override;

    std::shared_ptr<OTDispatchQueue> mainQueue() override;
    std::shared_ptr<OTDispatchQueue> queue(const std::string& label, bool concurrent = false) override;
    void shutdown() override;

    // Runs main-queue work on the calling thread (which must be the main thread) until `done`
    // holds or `timeout` passes, testing `done` after each piece of work and every 10 ms.
    // Returns whether `done` held.
    bool runMainLoopUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);
    bool isMainThread() const override;
    void adoptMainThread() override;
    std::size_t drainMainQueue() override;
    void setMainQueueWaker(const std::function<void()>& waker) override;

private:
    class Lane;

    using MainThread = std::atomic<std::thread::id>;
    const std::shared_ptr<MainThread> mainThread_;
    std::mutex mutex_;
    std::shared_ptr<Lane> main_;
    std::map<std::string, std::shared_ptr<Lane>> lanes_;
    bool stopped_ = false;
};

}  // namespace corvane
