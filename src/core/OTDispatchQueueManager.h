#pragma once

#include <functional>
#include <string>

namespace corvane {

class OTScheduler;

// Runs work on the main queue, or on the one shared serial background queue, without dead-locking
// when the caller is already there.
class OTDispatchQueueManager {
public:
    static constexpr const char* QUEUE_NAME_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD = "cn.com.OT.asyncTask";
    static constexpr const char* QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD =
        "QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD";

    OTDispatchQueueManager() = delete;

    // In place when already on the main queue; otherwise submitted, waiting for it unless `async`.
    static void dispatchInMainThread(OTScheduler& scheduler, const std::function<void()>& block, bool async);
    // In place when already on the tagged queue; otherwise submitted to it. Only the one tag above
    // names a queue: any other tag runs nothing.
    static void dispatchInSerialQueue(OTScheduler& scheduler, const std::string& tag,
                                      const std::function<void()>& block);
};

}  // namespace corvane
