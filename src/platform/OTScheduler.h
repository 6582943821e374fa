#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/OTDispatchQueue.h"

namespace corvane {

// Makes and owns the queues of one environment: the main queue and named queues, created on first
// request and shared by label afterwards.
class OTScheduler {
public:
    static constexpr const char* kMainQueueLabel = "com.apple.main-thread";
    // Low-priority global queue for housekeeping work such as cache trims.
    static constexpr const char* kBackgroundQueueLabel = "com.apple.root.background-qos";

    virtual ~OTScheduler() = default;

    virtual std::shared_ptr<OTDispatchQueue> mainQueue() = 0;
    virtual std::shared_ptr<OTDispatchQueue> queue(const std::string& label, bool concurrent = false) = 0;
    std::shared_ptr<OTDispatchQueue> backgroundQueue() { return queue(kBackgroundQueueLabel, true); }

    // Whether the calling thread is the one main-queue work runs on.
    virtual bool isMainThread() const = 0;
    // Makes the calling thread the main thread from now on, for a host whose main queue is served
    // by one thread at a time but not always the same one. The manual scheduler's driver stays
    // its main thread.
    virtual void adoptMainThread() {}
    // Runs the main-queue work that is due now on the calling thread, when it is the main thread:
    // a host without a run loop of the library's calls it from its own loop. Returns how many
    // pieces of work ran.
    virtual std::size_t drainMainQueue() = 0;
    // Called, from any thread, when main-queue work falls due and drainMainQueue has not run since
    // the last call: a host without a run loop of the library's then drains on its main thread,
    // and an idle host is never woken. Empty stops the calls. A scheduler whose driver runs the
    // main queue itself (the manual one) has nobody to wake and keeps the default.
    virtual void setMainQueueWaker(const std::function<void()>& /*waker*/) {}

    // Drops pending work and stops worker threads; queues handed out stay valid but run nothing more.
    virtual void shutdown() = 0;
};

}  // namespace corvane
