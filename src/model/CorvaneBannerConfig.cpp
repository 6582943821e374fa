#include "corvane/CorvaneBannerConfig.h"

#include "platform/OTEnvironment.h"

namespace corvane {

std::shared_ptr<CorvaneBannerConfig> CorvaneBannerConfig::defaultConfig() {
    return OTEnvironment::current()->singleton<CorvaneBannerConfig>(
        [] { return std::make_shared<CorvaneBannerConfig>(); });
}

}  // namespace corvane
