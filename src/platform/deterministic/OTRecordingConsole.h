#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/OTConsole.h"

namespace corvane {

// Keeps every print, for tests and the simulator's transcript.
class OTRecordingConsole final : public OTConsole {
public:
    void print(const std::string& text) override;
    std::vector<std::string> lines() const;
    // Whether any print contains `fragment`.
    bool contains(const std::string& fragment) const;
    void clear();

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace corvane
