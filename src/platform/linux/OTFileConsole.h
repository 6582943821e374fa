#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "platform/OTConsole.h"

namespace corvane {

// The console on standard error, or in a file of its own. Buffered: a matching walk prints lines
// by the thousand, and a write per line would cost more than the walk. Lines wait at most
// kFlushDelay, are written at once when kMaxPending bytes wait, and all of them before the
// console goes.
class OTFileConsole final : public OTConsole {
public:
    static constexpr std::chrono::milliseconds kFlushDelay{50};
    static constexpr std::size_t kMaxPending = std::size_t{64} * 1024;

    // Standard error.
    OTFileConsole();
    // Appends to `file`, made readable by the user only; when it cannot be opened, the lines go
    // nowhere.
    explicit OTFileConsole(const std::filesystem::path& file);
    ~OTFileConsole() override;
    OTFileConsole(const OTFileConsole&) = delete;
    OTFileConsole& operator=(const OTFileConsole&) = delete;

    void print(const std::string& text) override;
    // Writes whatever waits.
    void flush();

private:
    explicit OTFileConsole(std::FILE* stream, bool owned);
    void writePending(std::unique_lock<std::mutex>& lock);
    void run(const std::stop_token& stop);

    std::FILE* stream_;
    bool owned_;
    std::mutex mutex_;
    std::condition_variable_any wake_;
    std::string pending_;
    std::jthread flusher_;
};

}  // namespace corvane
