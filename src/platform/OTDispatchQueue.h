#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace corvane {

// One dispatch queue: serial (work runs one at a time in submission order) or concurrent.
// Work that throws is dropped by the scheduler; callers catch what they care about.
class OTDispatchQueue {
public:
    using Work = std::function<void()>;

    OTDispatchQueue(std::string label, bool concurrent) : label_(std::move(label)), concurrent_(concurrent) {}
    virtual ~OTDispatchQueue() = default;
    OTDispatchQueue(const OTDispatchQueue&) = delete;
    OTDispatchQueue& operator=(const OTDispatchQueue&) = delete;

    const std::string& label() const { return label_; }
    bool isConcurrent() const { return concurrent_; }

    virtual void async(Work work) = 0;
    // Runs `work` on this queue and waits for it. Called from work already on this queue it runs
    // in place instead of dead-locking.
    virtual void sync(const Work& work) = 0;
    virtual void after(std::chrono::nanoseconds delay, Work work) = 0;
    virtual bool isCurrent() const = 0;

private:
    const std::string label_;
    const bool concurrent_;
};

}  // namespace corvane
