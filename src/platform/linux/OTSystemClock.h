#pragma once

#include "platform/OTClock.h"

class OTSystemClock final : public OTClock {
public:
    TimePoint now() const override;
    std::chrono::seconds utcOffset(TimePoint when) const override;
};
