#include "core/OTTask.h"

#include <algorithm>

#include "platform/OTDispatchQueue.h"

namespace corvane {

OTTask::OTTask(Condition condition, Action task, std::int64_t timeInterval, std::int64_t timeout)
    : conditionBlock_(std::move(condition)),
      taskBlock_(std::move(task)),
      timeInterval_(std::max<std::int64_t>(timeInterval, 1)),
      timeout_(timeout),
      maxCount_(timeout > 0 ? static_cast<std::uint64_t>(timeout / std::max<std::int64_t>(timeInterval, 1)) : 0) {}

std::shared_ptr<OTTask> OTTask::taskWithCondition(Condition condition, Action task) {
    return taskWithCondition(std::move(condition), std::move(task), 1, 60);
}

std::shared_ptr<OTTask> OTTask::taskWithCondition(Condition condition, Action task, std::int64_t timeInterval,
                                                  std::int64_t timeout) {
    return std::shared_ptr<OTTask>(new OTTask(std::move(condition), std::move(task), timeInterval, timeout));
}

std::optional<std::string> OTTask::taskId() const {
    std::lock_guard lock(mutex_);
    return taskId_;
}

void OTTask::setTaskId(std::optional<std::string> value) {
    std::lock_guard lock(mutex_);
    taskId_ = std::move(value);
}

std::uint64_t OTTask::count() const {
    std::lock_guard lock(mutex_);
    return count_;
}

bool OTTask::isChecking() const {
    std::lock_guard lock(mutex_);
    return timer_ != nullptr;
}

void OTTask::startCheckWithCompletion(std::shared_ptr<OTDispatchQueue> queue, Completion completion) {
    if (!queue) return;
    {
        std::lock_guard lock(mutex_);
        if (timer_) return;
        callback_ = std::move(completion);
        queue_ = std::move(queue);
        timer_ = std::make_shared<int>(0);
    }
    scheduleNextCheck();
    // The first check happens at once, in the caller's frame.
    _check();
}

void OTTask::scheduleNextCheck() {
    std::shared_ptr<int> timer;
    std::shared_ptr<OTDispatchQueue> queue;
    {
        std::lock_guard lock(mutex_);
        timer = timer_;
        queue = queue_;
    }
    if (!timer) return;
    // The pending check keeps the task alive, as a run-loop timer keeps its target.
    queue->after(std::chrono::seconds(timeInterval_), [self = shared_from_this(), timer] {
        {
            std::lock_guard lock(self->mutex_);
            if (self->timer_ != timer) return;
        }
        self->scheduleNextCheck();
        self->_check();
    });
}

void OTTask::_check() {
    std::uint64_t count;
    {
        std::lock_guard lock(mutex_);
        if (!timer_) return;
        count = ++count_;
    }
    if (count >= maxCount_) {
        // Timed out: the checks end and the completion is never called.
        _clearTimer();
        return;
    }
    if (conditionBlock_ && conditionBlock_()) {
        Completion callback;
        {
            std::lock_guard lock(mutex_);
            callback = callback_;
        }
        _clearTimer();
        if (callback) callback(true);
    }
}

void OTTask::_clearTimer() {
    std::lock_guard lock(mutex_);
    timer_.reset();
    callback_ = nullptr;
}

}  // namespace corvane
