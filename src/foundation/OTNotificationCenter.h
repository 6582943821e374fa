#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <typeindex>
#include <typeinfo>
#include <vector>

namespace corvane {

// In-process notifications by name. Observers run synchronously on the posting thread, in the
// order they were added; an observer may remove itself or others while a post is under way.
class OTNotificationCenter {
public:
    struct Notification {
        std::string name;
        std::shared_ptr<void> object;
        std::type_index objectType = typeid(void);

        // The object when it is a T, else nothing: observers never trust a name alone.
        template <class T>
        std::shared_ptr<T> objectAs() const {
            return objectType == typeid(T) ? std::static_pointer_cast<T>(object) : nullptr;
        }
    };
    using Callback = std::function<void(const Notification&)>;

    // `owner` identifies the observer for removal; it is never dereferenced.
    std::uint64_t addObserver(const void* owner, const std::string& name, Callback callback);
    void removeObserver(const void* owner);
    void removeObserver(const void* owner, const std::string& name);
    void post(const std::string& name) { post(Notification{name, nullptr}); }
    template <class T>
    void post(const std::string& name, std::shared_ptr<T> object) {
        post(Notification{name, std::static_pointer_cast<void>(std::move(object)), typeid(T)});
    }
    std::size_t observerCount(const std::string& name) const;

private:
    void post(const Notification& notification);

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

}  // namespace corvane
