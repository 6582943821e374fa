#include "platform/deterministic/OTRecordingConsole.h"

#include <algorithm>

namespace corvane {

void OTRecordingConsole::print(const std::string& text) {
    std::lock_guard lock(mutex_);
    lines_.push_back(text);
}

std::vector<std::string> OTRecordingConsole::lines() const {
    std::lock_guard lock(mutex_);
    return lines_;
}

bool OTRecordingConsole::contains(const std::string& fragment) const {
    std::lock_guard lock(mutex_);
    return std::any_of(lines_.begin(), lines_.end(),
                       [&](const std::string& line) { return line.find(fragment) != std::string::npos; });
}

void OTRecordingConsole::clear() {
    std::lock_guard lock(mutex_);
    lines_.clear();
}

}  // namespace corvane
