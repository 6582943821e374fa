#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "services/OTDiskCache.h"

namespace corvane {

// Picture bytes kept in the standard user defaults, one entry per stored key, indexed under
// "OTImageDiskCacheKeys".
class OTImageDiskCache final : public OTDiskCache {
public:
    static constexpr const char* kIndexKey = "OTImageDiskCacheKeys";
    using Lookup = std::function<void(bool found, const std::string& key, const std::optional<std::string>& data)>;

    OTImageDiskCache();
    static std::shared_ptr<OTImageDiskCache> cache();

    // Answers at once on the caller's thread, so a cached picture completes at once; an empty key
    // never answers.
    void containsImageDataForKey(const std::optional<std::string>& key, const Lookup& block);
    bool containsImageDataForKey(const std::optional<std::string>& key);
    std::optional<std::string> imageDataForKey(const std::optional<std::string>& key);
    void setImageData(const std::string& data, const std::optional<std::string>& key);
};

}  // namespace corvane
