#pragma once

#include <mutex>
#include <utility>

namespace corvane {

// A value read and written from more than one queue: each access copies under a lock held only
// for that access.
template <class T>
class OTLocked {
public:
    OTLocked() = default;
    explicit OTLocked(T value) : value_(std::move(value)) {}

    T get() const {
        std::lock_guard lock(mutex_);
        return value_;
    }
    void set(T value) {
        std::lock_guard lock(mutex_);
        value_ = std::move(value);
    }
    // Runs `change` on the value under the lock; `change` must not call out of the object.
    template <class F>
    auto modify(F&& change) {
        std::lock_guard lock(mutex_);
        return change(value_);
    }

private:
    mutable std::mutex mutex_;
    T value_{};
};

}  // namespace corvane
