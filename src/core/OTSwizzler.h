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
class OTSwizzler {
public:
    static std::shared_ptr<OTSwizzler> shared();

    static void swizzleSelector(const std::string& selector, const std::string& onClass,
                                const OTMethodRuntime::Implementation& block, const std::string& named);
    // Removes the named callback; the replacement stays in place.
    static void unswizzleSelector(const std::string& selector, const std::string& onClass, const std::string& named);
    static bool isLocallyDefinedMethod(const std::string& method, const std::string& onClass);

    std::optional<OTSwizzle> recordFor(const std::string& selector) const;

private:
    void install(const std::string& selector, const std::string& onClass, const OTMethodRuntime::Implementation& block,
                 const std::string& named);
    // The fixed replacement routine of a supported method.
    static OTMethodRuntime::Implementation replacement(const std::string& selector);

    mutable std::mutex mutex_;
    std::map<std::string, OTSwizzle> slots_;
};

}  // namespace corvane
