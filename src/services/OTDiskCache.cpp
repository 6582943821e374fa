#include "services/OTDiskCache.h"

#include <algorithm>
#include <chrono>

#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"
#include "services/OTUserDefaults.h"
#include "services/OTUtils.h"

namespace corvane {

namespace {
std::int64_t nowSeconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(OTEnvironment::current()->clock().now().time_since_epoch())
        .count();
}
}  // namespace

OTDiskCache::OTDiskCache(std::string indexKey) : indexKey_(std::move(indexKey)) {
    const auto stored = OTUserDefaults::standardUserDefaults().objectForKey(indexKey_);
    if (stored && stored->is_array()) {
        for (const auto& key : *stored) {
            if (key.is_string()) keys_.push_back(key.get<std::string>());
        }
    }
}

std::string OTDiskCache::storedKeyFor(const std::string& url, std::int64_t seconds) {
    return OTUtils::base64Encode(url + kSeparator + std::to_string(seconds)).value_or("");
}

std::vector<std::string> OTDiskCache::splitStoredKey(const std::string& storedKey) {
    const std::string decoded = OTUtils::base64Decode(storedKey).value_or("");
    std::vector<std::string> parts;
    std::size_t from = 0;
    for (std::size_t at = decoded.find(kSeparator); at != std::string::npos; at = decoded.find(kSeparator, from)) {
        parts.push_back(decoded.substr(from, at - from));
        from = at + std::char_traits<char>::length(kSeparator);
    }
    parts.push_back(decoded.substr(from));
    return parts;
}

std::vector<std::string> OTDiskCache::storedKeys() const {
    std::lock_guard lock(mutex_);
    return keys_;
}

std::optional<std::string> OTDiskCache::findStoredKey(const std::string& key) const {
    for (const auto& stored : storedKeys()) {
        if (splitStoredKey(stored).front() == key) return stored;
    }
    return std::nullopt;
}

std::string OTDiskCache::makeStoredKey(const std::string& key) { return storedKeyFor(key, nowSeconds()); }

void OTDiskCache::addStoredKey(const std::string& stored) {
    std::lock_guard lock(mutex_);
    if (std::find(keys_.begin(), keys_.end(), stored) != keys_.end()) return;
    keys_.push_back(stored);
    writeIndexLocked();
}

void OTDiskCache::writeIndexLocked() const {
    auto& defaults = OTUserDefaults::standardUserDefaults();
    defaults.setObject(nlohmann::json(keys_), indexKey_);
    defaults.synchronize();
}

void OTDiskCache::removeAllCaches() {
    auto& defaults = OTUserDefaults::standardUserDefaults();
    std::lock_guard lock(mutex_);
    for (const auto& stored : keys_) defaults.removeObjectForKey(stored);
    keys_.clear();
    writeIndexLocked();
}

void OTDiskCache::removeCachesEalierThanTime(std::int64_t seconds) {
    auto& defaults = OTUserDefaults::standardUserDefaults();
    std::lock_guard lock(mutex_);
    for (std::size_t index = 0; index < keys_.size(); ++index) {
        const auto parts = splitStoredKey(keys_[index]);
        if (parts.size() < 2 || OTText::integerValue(parts[1]) >= seconds) continue;
        defaults.removeObjectForKey(keys_[index]);
        defaults.synchronize();
        keys_.erase(keys_.begin() + static_cast<long>(index));
    }
    writeIndexLocked();
}

void OTDiskCache::trimToAge(std::int64_t age) {
    if (age <= 0) {
        removeAllCaches();
        return;
    }
    const std::int64_t now = nowSeconds();
    if (now > age && now - age <= 2147483646) removeCachesEalierThanTime(now - age);
}

void OTDiskCache::_trimRecursively() {
    auto environment = OTEnvironment::current();
    environment->scheduler().backgroundQueue()->after(std::chrono::seconds(autoTrimInterval_),
                                                      [weak = weak_from_this()] {
                                                          auto self = weak.lock();
                                                          if (!self) return;
                                                          self->_trimInBackground();
                                                          self->_trimRecursively();
                                                      });
}

void OTDiskCache::_trimInBackground() { trimToAge(ageLimit_); }

}  // namespace corvane
