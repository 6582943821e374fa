#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "platform/OTConsole.h"

namespace corvane {

// Standard error, buffered: a matching walk prints lines by the thousand, and a write per line
// would cost more than the walk. Lines wait at most kFlushDelay, are written at once when
// kMaxPending bytes wait, and all of them before the console goes.
class OTStandardErrorConsole final : public OTConsole {
public:
    static constexpr std::chrono::milliseconds kFlushDelay{50};
    static constexpr std::size_t kMaxPending = std::size_t{64} * 1024;

    OTStandardErrorConsole();
    ~OTStandardErrorConsole() override;
    OTStandardErrorConsole(const OTStandardErrorConsole&) = delete;
    OTStandardErrorConsole& operator=(const OTStandardErrorConsole&) = delete;

    void print(const std::string& text) override;
    // Writes whatever waits.
    void flush();

private:
    void writePending(std::unique_lock<std::mutex>& lock);
    void run(const std::stop_token& stop);

    std::mutex mutex_;
    std::condition_variable_any wake_;
    std::string pending_;
    std::jthread flusher_;
};

}  // namespace corvane
