#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// In-process notifications by name. Observers run synchronously on the posting thread, in the
// order they were added; an observer may remove itself or others while a post is under way.
class OTNotificationCenter {
public:
    struct Notification {
        std::string name;
        std::shared_ptr<void> object;
    };
    using Callback = std::function<void(const Notification&)>;

    // `owner` identifies the observer for removal; it is never dereferenced.
    std::uint64_t addObserver(const void* owner, const std::string& name, Callback callback);
    void removeObserver(const void* owner);
    void removeObserver(const void* owner, const std::string& name);
    void post(const std::string& name, std::shared_ptr<void> object = nullptr);
    std::size_t observerCount(const std::string& name) const;

private:
    struct Entry {
        std::uint64_t token;
        const void* owner;
        std::string name;
        std::shared_ptr<Callback> callback;
    };
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
    std::uint64_t nextToken_ = 1;
};
