#include "model/OTSAEventAdapter.h"

#include "platform/OTEnvironment.h"

namespace corvane {

std::shared_ptr<OTSAEventAdapter> OTSAEventAdapter::adapter() {
    return OTEnvironment::current()->singleton<OTSAEventAdapter>([] { return std::make_shared<OTSAEventAdapter>(); });
}

nlohmann::json OTSAEventAdapter::specialProperties() const {
    return nlohmann::json{
        {"$network_type", "$network"}, {"$screen_name", "$url"}, {"$resume_from_background", "$is_from_background"}};
}

}  // namespace corvane
