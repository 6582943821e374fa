#include "platform/OTRoutedConsole.h"

namespace corvane {

void OTRoutedConsole::setSink(Sink sink) {
    std::lock_guard lock(mutex_);
    routed_.store(static_cast<bool>(sink), std::memory_order_release);
    sink_ = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
}

void OTRoutedConsole::printAt(std::int64_t level, const std::string& text) {
    if (!routed_.load(std::memory_order_acquire)) {
        platform_->printAt(level, text);
        return;
    }
    std::shared_ptr<const Sink> sink;
    {
        std::lock_guard lock(mutex_);
        sink = sink_;
    }
    // The sink runs outside the lock: it may print again, or replace itself.
    if (!sink) {
        platform_->printAt(level, text);
        return;
    }
    try {
        (*sink)(level, text);
    } catch (...) {
        // A host's sink that throws loses that message, never the caller's work.
    }
}

}  // namespace corvane
