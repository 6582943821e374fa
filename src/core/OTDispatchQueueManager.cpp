#include "core/OTDispatchQueueManager.h"

#include "platform/OTScheduler.h"

namespace corvane {

void OTDispatchQueueManager::dispatchInMainThread(OTScheduler& scheduler, const std::function<void()>& block,
                                                  bool async) {
    if (!block) return;
    auto main = scheduler.mainQueue();
    if (main->isCurrent()) {
        block();
    } else if (async) {
        main->async(block);
    } else {
        main->sync(block);
    }
}

void OTDispatchQueueManager::dispatchInSerialQueue(OTScheduler& scheduler, const std::string& tag,
                                                   const std::function<void()>& block) {
    if (!block || tag != QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD) return;
    auto queue = scheduler.queue(QUEUE_NAME_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD);
    if (queue->isCurrent()) block();
    else queue->async(block);
}

}  // namespace corvane
