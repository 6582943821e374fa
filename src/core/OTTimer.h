#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace corvane {

class OTDispatchQueue;

// A timer on a queue (the main queue, in the library) that holds its target weakly: an object that owns a timer is not
// kept alive by it, and a repeating timer whose target is gone invalidates itself at its next firing. Only the
// designated forms make one; a timer nobody keeps stops by itself.
class OTTimer : public std::enable_shared_from_this<OTTimer> {
public:
    using Action = std::function<void(const std::shared_ptr<void>& target, OTTimer& timer)>;

    // First firing one interval from now.
    static std::shared_ptr<OTTimer> timerWithTimeInterval(std::shared_ptr<OTDispatchQueue> queue, double interval,
                                                          std::weak_ptr<void> target, Action action, bool repeats);
    // First firing after `fireTime` seconds, then every `interval` seconds.
    static std::shared_ptr<OTTimer> initWithFireTime(std::shared_ptr<OTDispatchQueue> queue, double fireTime,
                                                     double interval, std::weak_ptr<void> target, Action action,
                                                     bool repeats);
    template <class T>
    static std::shared_ptr<OTTimer> timerWithTimeInterval(std::shared_ptr<OTDispatchQueue> queue, double interval,
                                                          const std::shared_ptr<T>& target,
                                                          void (T::*selector)(OTTimer&), bool repeats) {
        return timerWithTimeInterval(std::move(queue), interval, std::weak_ptr<void>(target), bind(selector), repeats);
    }
    template <class T>
    static std::shared_ptr<OTTimer> initWithFireTime(std::shared_ptr<OTDispatchQueue> queue, double fireTime,
                                                     double interval, const std::shared_ptr<T>& target,
                                                     void (T::*selector)(OTTimer&), bool repeats) {
        return initWithFireTime(std::move(queue), fireTime, interval, std::weak_ptr<void>(target), bind(selector),
                                repeats);
    }

    ~OTTimer();
    OTTimer(const OTTimer&) = delete;
    OTTimer& operator=(const OTTimer&) = delete;

    // Calls the target's action if the timer is valid and the target alive; a timer that does not
    // repeat, or whose target is gone, is invalid afterwards.
    void fire();
    void invalidate();
    bool repeats() const { return repeats_; }
    double timeInterval() const { return interval_; }
    bool isValid() const;

private:
    OTTimer(std::shared_ptr<OTDispatchQueue> queue, double interval, std::weak_ptr<void> target, Action action,
            bool repeats);
    void schedule(double delay);

    template <class T>
    static Action bind(void (T::*selector)(OTTimer&)) {
        return [selector](const std::shared_ptr<void>& target, OTTimer& timer) {
            (static_cast<T*>(target.get())->*selector)(timer);
        };
    }

    const std::shared_ptr<OTDispatchQueue> queue_;
    const double interval_;
    const bool repeats_;
    mutable std::mutex mutex_;
    bool valid_ = true;
    std::weak_ptr<void> target_;
    Action action_;
    // Bumped on invalidation so that an armed firing finds itself cancelled.
    std::shared_ptr<std::atomic<bool>> armed_;
};

}  // namespace corvane
