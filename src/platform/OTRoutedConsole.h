#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "platform/OTConsole.h"

namespace corvane {

// The console as the library prints to it: the platform's console, or, once the host installs a
// sink, the sink instead, handed every message with its level (kDirectPrint for a direct print,
// which no log level filters).
class OTRoutedConsole final : public OTConsole {
public:
    using Sink = std::function<void(std::int64_t level, const std::string& text)>;
    static constexpr std::int64_t kDirectPrint = -1;

    explicit OTRoutedConsole(std::shared_ptr<OTConsole> platform) : platform_(std::move(platform)) {}

    // An empty sink gives the console back to the platform.
    void setSink(Sink sink);
    void print(const std::string& text) override { printAt(kDirectPrint, text); }
    void printAt(std::int64_t level, const std::string& text) override;

private:
    std::shared_ptr<OTConsole> platform_;
    std::mutex mutex_;
    std::shared_ptr<const Sink> sink_;
    // Whether there is a sink, read without the lock: most apps install none.
    std::atomic<bool> routed_{false};
};

}  // namespace corvane
