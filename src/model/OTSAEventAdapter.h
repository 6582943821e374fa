#pragma once

#include <memory>

#include "model/OTEventAdapter.h"

namespace corvane {

// Sensors Analytics events: renames "$network_type", "$screen_name" and "$resume_from_background".
class OTSAEventAdapter final : public OTEventAdapter {
public:
    static std::shared_ptr<OTSAEventAdapter> adapter();
    nlohmann::json specialProperties() const override;
};

}  // namespace corvane
