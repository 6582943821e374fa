#include "corvane/CorvaneOtConfig.h"

#include <nlohmann/json.hpp>

#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"
#include "services/OTUserShare.h"

namespace corvane {

std::shared_ptr<CorvaneOtConfig> CorvaneOtConfig::defaultConfig() {
    return OTEnvironment::current()->singleton<CorvaneOtConfig>([] { return std::make_shared<CorvaneOtConfig>(); });
}

std::uint64_t CorvaneOtConfig::envType() const {
    envType_ = static_cast<std::uint64_t>(OTUserShare::share()->integerForKey(kEnvKey, domain()));
    return envType_;
}

void CorvaneOtConfig::setEnvType(std::uint64_t value) {
    envType_ = value;
    OTUserShare::share()->setInteger(static_cast<std::int64_t>(value), kEnvKey, domain());
}

void CorvaneOtConfig::setApplicationGroupIdentifier(std::optional<std::string> value) {
    applicationGroupIdentifier_ = std::move(value);
    setEnvType(envType_);
}

std::optional<std::string> CorvaneOtConfig::url() const {
    return OTUserShare::share()->stringForKey(kUrlKey, domain());
}

void CorvaneOtConfig::setUrl(const std::optional<std::string>& value) {
    if (!value || value->empty()) return;
    std::string cleaned = OTText::trimmed(*value, true);
    if (!cleaned.empty() && cleaned.back() == '/') cleaned.pop_back();
    url_ = cleaned;
    OTUserShare::share()->setObject(cleaned, kUrlKey, domain());
}

}  // namespace corvane
