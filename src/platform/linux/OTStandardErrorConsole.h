#pragma once

#include <mutex>

#include "platform/OTConsole.h"

namespace corvane {

class OTStandardErrorConsole final : public OTConsole {
public:
    void print(const std::string& text) override;

private:
    std::mutex mutex_;
};

}  // namespace corvane
