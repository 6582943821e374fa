#include "services/OTUserShare.h"

#include <nlohmann/json.hpp>

#include "foundation/OTDescription.h"
#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"
#include "services/OTLogger.h"
#include "services/OTUserDefaults.h"

namespace corvane {

OTUserShare::OTUserShare(OTEnvironment& environment) : environment_(environment) {}

std::shared_ptr<OTUserShare> OTUserShare::share() {
    auto environment = OTEnvironment::current();
    return environment->singleton<OTUserShare>([&] { return std::make_shared<OTUserShare>(*environment); });
}

std::optional<std::filesystem::path> OTUserShare::filePath(const std::string& key, const std::string& domain) const {
    if (key.empty() || key.find('/') != std::string::npos || key.find('\0') != std::string::npos) return std::nullopt;
    auto container = environment_.sandbox().containerForApplicationGroup(domain);
    if (!container) return std::nullopt;
    return *container / "Library" / "Caches" / ("OT_" + key + ".json");
}

void OTUserShare::setObject(const nlohmann::json& value, const std::string& key, const std::string& domain) {
    if (key.empty()) return;
    if (domain.empty()) {
        // Storing nothing in the user defaults removes the entry.
        OTUserDefaults::standardUserDefaults().setObject(value, key);
        OTUserDefaults::standardUserDefaults().synchronize();
        return;
    }
    // Nothing has no description to write: that write fails and the file keeps its old value.
    const bool absent = value.is_null() || value.is_discarded();
    const std::string text = absent ? "(null)" : OTDescription::describe(value);
    const auto path = filePath(key, domain);
    if (!absent && path && OTEnvironment::current()->files().writeFileAtomically(*path, text)) {
        OTLog(OTLogger::kLevelData, "数据写入共享文件成功，url : %@, key : %@, value : %@", "file://" + path->string(),
              key, text);
    } else {
        OTLog(OTLogger::kLevelError, "数据写入共享文件失败，key : %@, value : %@", key, text);
    }
}

std::optional<nlohmann::json> OTUserShare::objectForKey(const std::string& key, const std::string& domain) const {
    if (key.empty()) return std::nullopt;
    if (domain.empty()) return OTUserDefaults::standardUserDefaults().objectForKey(key);
    const auto path = filePath(key, domain);
    if (!path) return std::nullopt;
    auto text = OTEnvironment::current()->files().readFile(*path);
    if (!text) return std::nullopt;
    nlohmann::json value(std::move(*text));
    // Bytes that are not UTF-8 read as nothing rather than as a text that breaks its users later.
    try {
        (void)value.dump();
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::string> OTUserShare::stringForKey(const std::string& key, const std::string& domain) const {
    auto value = objectForKey(key, domain);
    if (!value) return std::nullopt;
    if (value->is_string()) return value->get<std::string>();
    if (value->is_number()) return value->dump();
    return std::nullopt;
}

void OTUserShare::setInteger(std::int64_t value, const std::string& key, const std::string& domain) {
    setObject(std::to_string(value), key, domain);
}

std::int64_t OTUserShare::integerForKey(const std::string& key, const std::string& domain) const {
    if (key.empty()) return 0;
    if (domain.empty()) return OTUserDefaults::standardUserDefaults().integerForKey(key);
    auto text = stringForKey(key, domain);
    return text ? OTText::integerValue(*text) : 0;
}

}  // namespace corvane
