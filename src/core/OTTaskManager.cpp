#include "core/OTTaskManager.h"

#include <algorithm>

#include "platform/OTEnvironment.h"

namespace corvane {

OTTaskManager::OTTaskManager(std::shared_ptr<OTDispatchQueue> checks) : checks_(std::move(checks)) {}

std::shared_ptr<OTTaskManager> OTTaskManager::manager() {
    const auto environment = OTEnvironment::current();
    return environment->singleton<OTTaskManager>(
        [&] { return std::make_shared<OTTaskManager>(environment->mainQueue()); });
}

void OTTaskManager::addTask(const std::shared_ptr<OTTask>& task) {
    if (!task) return;
    const auto id = task->taskId();
    {
        std::lock_guard lock(mutex_);
        if (tasks_.size() >= kMaxPendingTasks) return;
        for (const auto& pending : tasks_) {
            if (pending == task) return;
            if (id && pending->taskId() == id) return;
        }
        tasks_.push_back(task);
    }
    if (task->conditionBlock() && !task->conditionBlock()()) {
        // The task keeps its completion: the completion must not keep the task.
        task->startCheckWithCompletion(checks_,
                                       [weak = weak_from_this(), weakTask = std::weak_ptr<OTTask>(task)](bool done) {
                                           auto manager = weak.lock();
                                           auto held = weakTask.lock();
                                           if (manager && held && done) manager->doTask(held);
                                       });
    } else {
        doTask(task);
    }
}

void OTTaskManager::doTask(const std::shared_ptr<OTTask>& task) {
    if (!task) return;
    {
        std::lock_guard lock(mutex_);
        std::erase(tasks_, task);
    }
    if (task->taskBlock()) task->taskBlock()();
}

void OTTaskManager::removeTask(const std::shared_ptr<OTTask>&) {}

void OTTaskManager::removeAllTasks() {}

std::vector<std::shared_ptr<OTTask>> OTTaskManager::pendingTasks() const {
    std::lock_guard lock(mutex_);
    return tasks_;
}

}  // namespace corvane
