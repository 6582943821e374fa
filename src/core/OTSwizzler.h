#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/OTMethodRuntime.h"

namespace corvane {

// The record of one intercepted method: the implementation that runs first and the callbacks,
// by name, that run after it.
struct OTSwizzle {
    std::string className;
    std::string selector;
    std::optional<OTMethodRuntime::Implementation> originalMethod;
    std::uint64_t numArgs = 0;
    std::map<std::string, OTMethodRuntime::Implementation> blocks;
};

// Intercepts the five methods the library observes: "saveUploadInfo:event:handler:",
// "viewDidAppear:", "viewWillDisappear:", "willRemoveSubview:" and
// "mailComposeController:didFinishWithResult:error:". The replaced method runs its previous
// implementation, then every callback registered for it. Other methods cannot be intercepted.
// Replacements it installs hold it weakly: once it goes, they run nothing.
class OTSwizzler : public std::enable_shared_from_this<OTSwizzler> {
public:
    explicit OTSwizzler(std::shared_ptr<OTMethodRuntime> runtime);
    // The one on the installed environment's method runtime.
    static std::shared_ptr<OTSwizzler> shared();

    void swizzleSelector(const std::string& selector, const std::string& onClass,
                         const OTMethodRuntime::Implementation& block, const std::string& named);
    // Removes the named callback; the replacement stays in place.
    void unswizzleSelector(const std::string& selector, const std::string& onClass, const std::string& named);
    bool isLocallyDefinedMethod(const std::string& method, const std::string& onClass) const;
    OTMethodRuntime& runtime() const { return *runtime_; }

    std::optional<OTSwizzle> recordFor(const std::string& selector) const;

private:
    // The fixed replacement routine of a supported method.
    OTMethodRuntime::Implementation replacement(const std::string& selector);

    const std::shared_ptr<OTMethodRuntime> runtime_;
    mutable std::mutex mutex_;
    std::map<std::string, OTSwizzle> slots_;
};

}  // namespace corvane
