#include "platform/linux/OTStandardErrorConsole.h"

#include <cstdio>

namespace corvane {

OTStandardErrorConsole::OTStandardErrorConsole() : flusher_([this](const std::stop_token& stop) { run(stop); }) {}

OTStandardErrorConsole::~OTStandardErrorConsole() {
    flusher_.request_stop();
    flusher_.join();
    flush();
}

void OTStandardErrorConsole::print(const std::string& text) {
    std::unique_lock lock(mutex_);
    const bool wasEmpty = pending_.empty();
    pending_ += text;
    if (text.empty() || text.back() != '\n') pending_ += '\n';
    if (pending_.size() >= kMaxPending) writePending(lock);
    else if (wasEmpty) wake_.notify_one();
}

void OTStandardErrorConsole::flush() {
    std::unique_lock lock(mutex_);
    writePending(lock);
}

void OTStandardErrorConsole::writePending(std::unique_lock<std::mutex>&) {
    if (pending_.empty()) return;
    std::fwrite(pending_.data(), 1, pending_.size(), stderr);
    std::fflush(stderr);
    pending_.clear();
}

void OTStandardErrorConsole::run(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    while (!stop.stop_requested()) {
        if (!wake_.wait(lock, stop, [this] { return !pending_.empty(); })) break;
        // Lines that follow within the delay go out with the first.
        wake_.wait_for(lock, stop, kFlushDelay, [] { return false; });
        writePending(lock);
    }
}

}  // namespace corvane
