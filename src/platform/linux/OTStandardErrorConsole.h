#pragma once

#include <mutex>

#include "platform/OTConsole.h"

class OTStandardErrorConsole final : public OTConsole {
public:
    void print(const std::string& text) override;

private:
    std::mutex mutex_;
};
