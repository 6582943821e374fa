#include "core/OTTimer.h"

#include "foundation/OTJSONValue.h"
#include "platform/OTDispatchQueue.h"

namespace corvane {

namespace {
std::chrono::nanoseconds seconds(double value) { return OTJSONValue::durationOfSeconds(value); }
}  // namespace

OTTimer::OTTimer(std::shared_ptr<OTDispatchQueue> queue, double interval, std::weak_ptr<void> target, Action action,
                 bool repeats)
    : queue_(std::move(queue)),
      interval_(interval),
      repeats_(repeats),
      target_(std::move(target)),
      action_(std::move(action)),
      armed_(std::make_shared<std::atomic<bool>>(true)) {}

OTTimer::~OTTimer() { invalidate(); }

std::shared_ptr<OTTimer> OTTimer::timerWithTimeInterval(std::shared_ptr<OTDispatchQueue> queue, double interval,
                                                        std::weak_ptr<void> target, Action action, bool repeats) {
    return initWithFireTime(std::move(queue), interval, interval, std::move(target), std::move(action), repeats);
}

std::shared_ptr<OTTimer> OTTimer::initWithFireTime(std::shared_ptr<OTDispatchQueue> queue, double fireTime,
                                                   double interval, std::weak_ptr<void> target, Action action,
                                                   bool repeats) {
    if (!queue) return nullptr;
    std::shared_ptr<OTTimer> timer(
        new OTTimer(std::move(queue), interval, std::move(target), std::move(action), repeats));
    timer->schedule(fireTime);
    return timer;
}

void OTTimer::schedule(double delay) {
    std::shared_ptr<std::atomic<bool>> armed;
    {
        std::lock_guard lock(mutex_);
        if (!valid_) return;
        armed = armed_;
    }
    // The firing holds the timer weakly: a timer nobody keeps stops here.
    queue_->after(seconds(delay), [weak = weak_from_this(), armed] {
        auto timer = weak.lock();
        if (!timer || !*armed) return;
        timer->fire();
        if (timer->isValid()) timer->schedule(timer->interval_);
    });
}

void OTTimer::fire() {
    std::shared_ptr<void> target;
    Action action;
    {
        std::lock_guard lock(mutex_);
        if (!valid_) return;
        target = target_.lock();
        action = action_;
    }
    if (target && action) action(target, *this);
    if (!repeats_ || !target) invalidate();
}

void OTTimer::invalidate() {
    std::lock_guard lock(mutex_);
    if (!valid_) return;
    *armed_ = false;
    target_.reset();
    action_ = nullptr;
    valid_ = false;
}

bool OTTimer::isValid() const {
    std::lock_guard lock(mutex_);
    return valid_;
}

}  // namespace corvane
