#include "services/OTImageDiskCache.h"

#include "platform/OTEnvironment.h"
#include "services/OTUserDefaults.h"

namespace corvane {

OTImageDiskCache::OTImageDiskCache() : OTDiskCache(kIndexKey) {}

std::shared_ptr<OTImageDiskCache> OTImageDiskCache::cache() { return sharedCache<OTImageDiskCache>(); }

std::optional<std::string> OTImageDiskCache::imageDataForKey(const std::optional<std::string>& key) {
    if (!key || key->empty()) return std::nullopt;
    const auto stored = findStoredKey(*key);
    if (!stored) return std::nullopt;
    const auto bytes = OTUserDefaults::standardUserDefaults().dataForKey(*stored);
    if (!bytes) return std::nullopt;
    return std::string(bytes->begin(), bytes->end());
}

bool OTImageDiskCache::containsImageDataForKey(const std::optional<std::string>& key) {
    return imageDataForKey(key).has_value();
}

void OTImageDiskCache::containsImageDataForKey(const std::optional<std::string>& key, const Lookup& block) {
    if (!key || key->empty() || !block) return;
    const auto data = imageDataForKey(key);
    block(data.has_value(), *key, data);
}

void OTImageDiskCache::setImageData(const std::string& data, const std::optional<std::string>& key) {
    if (!key || key->empty()) return;
    auto& defaults = OTUserDefaults::standardUserDefaults();
    const std::string stored = makeStoredKey(*key);
    defaults.setData(OTPropertyList::Data(data.begin(), data.end()), stored);
    defaults.synchronize();
    addStoredKey(stored);
}

}  // namespace corvane
