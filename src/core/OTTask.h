#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace corvane {

class OTDispatchQueue;

// An action that waits for a condition: checked at once, then every `timeInterval` seconds on
// the queue it is started on (the main queue, in the library), giving up silently after `timeout` seconds (`maxCount`
// checks in all).
class OTTask : public std::enable_shared_from_this<OTTask> {
public:
    using Condition = std::function<bool()>;
    using Action = std::function<void()>;
    using Completion = std::function<void(bool)>;

    // Checks every second for up to 60 seconds.
    static std::shared_ptr<OTTask> taskWithCondition(Condition condition, Action task);
    // The interval is at least 1 second; `maxCount` is timeout ÷ interval.
    static std::shared_ptr<OTTask> taskWithCondition(Condition condition, Action task, std::int64_t timeInterval,
                                                     std::int64_t timeout);

    // Starts the checks unless they run already; `completion` hears true when the condition holds.
    void startCheckWithCompletion(std::shared_ptr<OTDispatchQueue> queue, Completion completion);
    void _check();
    void _clearTimer();

    std::optional<std::string> taskId() const;
    void setTaskId(std::optional<std::string> value);
    const Condition& conditionBlock() const { return conditionBlock_; }
    const Action& taskBlock() const { return taskBlock_; }
    std::int64_t timeInterval() const { return timeInterval_; }
    std::int64_t timeout() const { return timeout_; }
    std::uint64_t count() const;
    std::uint64_t maxCount() const { return maxCount_; }
    bool isChecking() const;

private:
    OTTask(Condition condition, Action task, std::int64_t timeInterval, std::int64_t timeout);
    void scheduleNextCheck();

    mutable std::mutex mutex_;
    std::optional<std::string> taskId_;
    const Condition conditionBlock_;
    const Action taskBlock_;
    const std::int64_t timeInterval_;
    const std::int64_t timeout_;
    Completion callback_;
    std::shared_ptr<OTDispatchQueue> queue_;
    // The running check timer: a token that the scheduled checks compare against.
    std::shared_ptr<int> timer_;
    std::uint64_t count_ = 0;
    const std::uint64_t maxCount_;
};

}  // namespace corvane
