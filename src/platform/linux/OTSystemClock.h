#pragma once

#include "platform/OTClock.h"

namespace corvane {

class OTSystemClock final : public OTClock {
public:
    TimePoint now() const override;
    std::chrono::seconds utcOffset(TimePoint when) const override;
};

}  // namespace corvane
