#include "foundation/OTNotificationCenter.h"

#include <algorithm>

namespace corvane {

std::uint64_t OTNotificationCenter::addObserver(const void* owner, const std::string& name, Callback callback) {
    if (!callback) return 0;
    std::lock_guard lock(mutex_);
    const auto token = nextToken_++;
    entries_.push_back(Entry{token, owner, name, std::make_shared<Callback>(std::move(callback))});
    return token;
}

void OTNotificationCenter::removeObserver(const void* owner) {
    std::lock_guard lock(mutex_);
    std::erase_if(entries_, [&](const Entry& e) { return e.owner == owner; });
}

void OTNotificationCenter::removeObserver(const void* owner, const std::string& name) {
    std::lock_guard lock(mutex_);
    std::erase_if(entries_, [&](const Entry& e) { return e.owner == owner && e.name == name; });
}

void OTNotificationCenter::post(const Notification& notification) {
    std::vector<std::pair<std::uint64_t, std::shared_ptr<Callback>>> targets;
    {
        std::lock_guard lock(mutex_);
        for (const auto& e : entries_) {
            if (e.name == notification.name) targets.emplace_back(e.token, e.callback);
        }
    }
    for (const auto& [token, callback] : targets) {
        {
            // Skip observers removed by an earlier observer of this same post.
            std::lock_guard lock(mutex_);
            const bool alive =
                std::any_of(entries_.begin(), entries_.end(), [&, t = token](const Entry& e) { return e.token == t; });
            if (!alive) continue;
        }
        (*callback)(notification);
    }
}

std::size_t OTNotificationCenter::observerCount(const std::string& name) const {
    std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(
        std::count_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.name == name; }));
}

}  // namespace corvane
