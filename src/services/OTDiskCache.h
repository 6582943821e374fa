#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/OTEnvironment.h"

namespace corvane {

// What the picture and video caches share: an index of stored keys kept in the standard user
// defaults, each key the base64 of "<url>__#OT#__<seconds stored>", and a trim that every minute
// removes entries older than three days.
class OTDiskCache : public std::enable_shared_from_this<OTDiskCache> {
public:
    static constexpr const char* kSeparator = "__#OT#__";
    static constexpr std::int64_t kAgeLimit = 259200;
    static constexpr std::int64_t kAutoTrimInterval = 60;

    explicit OTDiskCache(std::string indexKey);
    virtual ~OTDiskCache() = default;
    OTDiskCache(const OTDiskCache&) = delete;
    OTDiskCache& operator=(const OTDiskCache&) = delete;

    static std::string storedKeyFor(const std::string& url, std::int64_t seconds);
    // The decoded stored key split at the separator: the address, then the time.
    static std::vector<std::string> splitStoredKey(const std::string& storedKey);

    std::vector<std::string> storedKeys() const;
    std::int64_t ageLimit() const { return ageLimit_; }
    std::int64_t autoTrimInterval() const { return autoTrimInterval_; }

    void removeAllCaches();
    // Walks the index by position; the entry that slides into a removed place waits for the next pass.
    void removeCachesEalierThanTime(std::int64_t seconds);
    void trimToAge(std::int64_t age);
    // Starts the trim every `autoTrimInterval` seconds on the background queue, for the life of
    // the environment.
    void _trimRecursively();
    void _trimInBackground();

protected:
    // The environment's one cache of kind T, trimming itself from its creation on.
    template <class T>
    static std::shared_ptr<T> sharedCache() {
        return OTEnvironment::current()->singleton<T>([] {
            auto cache = std::make_shared<T>();
            cache->_trimRecursively();
            return cache;
        });
    }

    // The first stored key whose address is `key`.
    std::optional<std::string> findStoredKey(const std::string& key) const;
    // The stored key for `key` at the current time.
    static std::string makeStoredKey(const std::string& key);
    // Adds a stored key to the index unless it is there already, and writes the index.
    void addStoredKey(const std::string& stored);

private:
    void writeIndexLocked() const;

    const std::string indexKey_;
    const std::int64_t ageLimit_ = kAgeLimit;
    const std::int64_t autoTrimInterval_ = kAutoTrimInterval;
    // Guards index additions and each trim pass; lookups take it only to copy the index.
    mutable std::mutex mutex_;
    std::vector<std::string> keys_;
};

}  // namespace corvane
