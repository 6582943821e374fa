#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "core/OTTask.h"

namespace corvane {

class OTDispatchQueue;

// Runs tasks when their conditions hold. At most 10 wait at once, and a task id waits at most
// once; a task whose checks timed out keeps its place, on purpose.
class OTTaskManager : public std::enable_shared_from_this<OTTaskManager> {
public:
    static constexpr std::size_t kMaxPendingTasks = 10;

    // Checks the conditions of waiting tasks on `checks`.
    explicit OTTaskManager(std::shared_ptr<OTDispatchQueue> checks);
    // The one on the installed environment's main queue.
    static std::shared_ptr<OTTaskManager> manager();

    void addTask(const std::shared_ptr<OTTask>& task);
    // Takes the task off the pending list and runs its action.
    void doTask(const std::shared_ptr<OTTask>& task);
    // Kept as operations only: they remove nothing.
    void removeTask(const std::shared_ptr<OTTask>& task);
    void removeAllTasks();

    std::vector<std::shared_ptr<OTTask>> pendingTasks() const;

private:
    const std::shared_ptr<OTDispatchQueue> checks_;
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<OTTask>> tasks_;
};

}  // namespace corvane
