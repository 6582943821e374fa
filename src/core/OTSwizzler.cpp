#include "core/OTSwizzler.h"

#include <array>
#include <vector>

#include "platform/OTEnvironment.h"
#include "services/OTLogger.h"

namespace corvane {

namespace {
constexpr std::array<const char*, 5> kInterceptable = {
    "saveUploadInfo:event:handler:", "viewDidAppear:", "viewWillDisappear:", "willRemoveSubview:",
    "mailComposeController:didFinishWithResult:error:"};

bool isInterceptable(const std::string& selector) {
    for (const char* name : kInterceptable) {
        if (selector == name) return true;
    }
    return false;
}

std::uint64_t argumentCount(const std::string& selector) {
    std::uint64_t count = 0;
    for (char c : selector) count += c == ':' ? 1 : 0;
    return count;
}
}  // namespace

OTSwizzler::OTSwizzler(std::shared_ptr<OTMethodRuntime> runtime) : runtime_(std::move(runtime)) {}

std::shared_ptr<OTSwizzler> OTSwizzler::shared() {
    return OTEnvironment::current()->singleton<OTSwizzler>(
        [] { return std::make_shared<OTSwizzler>(OTMethodRuntime::shared()); });
}

std::optional<OTSwizzle> OTSwizzler::recordFor(const std::string& selector) const {
    std::lock_guard lock(mutex_);
    const auto it = slots_.find(selector);
    if (it == slots_.end()) return std::nullopt;
    return it->second;
}

OTMethodRuntime::Implementation OTSwizzler::replacement(const std::string& selector) {
    // View methods always run their previous implementation; the others only when there is one.
    const bool alwaysPrevious =
        selector == "viewDidAppear:" || selector == "viewWillDisappear:" || selector == "willRemoveSubview:";
    return
        [weak = weak_from_this(), alwaysPrevious](const OTMethodRuntime::Receiver& receiver, const std::string& called,
                                                  const OTMethodRuntime::Arguments& arguments) {
            const auto self = weak.lock();
            const auto record = self ? self->recordFor(called) : std::nullopt;
            if (!record) return;
            if (record->originalMethod && (alwaysPrevious || *record->originalMethod)) {
                (*record->originalMethod)(receiver, called, arguments);
            }
            for (const auto& [name, block] : record->blocks) {
                if (block) block(receiver, called, arguments);
            }
        };
}

void OTSwizzler::swizzleSelector(const std::string& selector, const std::string& onClass,
                                 const OTMethodRuntime::Implementation& block, const std::string& named) {
    if (selector.empty() || onClass.empty() || !block || named.empty()) return;
    auto& runtime = *runtime_;
    const auto method = runtime.instanceMethod(onClass, selector);
    if (!method) OTLog(OTLogger::kLevelError, "SwizzleException:Cannot find method for %@ on %@", selector, onClass);
    if (!isInterceptable(selector) || !method) return;

    std::lock_guard lock(mutex_);
    const auto slot = slots_.find(selector);
    if (runtime.isLocallyDefined(onClass, selector)) {
        if (slot != slots_.end()) {
            slot->second.blocks[named] = block;  // replaced once only
            return;
        }
        runtime.setImplementation(onClass, selector, replacement(selector));
        slots_[selector] = OTSwizzle{onClass, selector, method, argumentCount(selector), {{named, block}}};
        return;
    }
    const auto previous = slot != slots_.end() ? slot->second.originalMethod : method;
    if (!runtime.addMethod(onClass, selector, replacement(selector))) {
        OTLog(OTLogger::kLevelError,
              "SwizzleException:Could not add swizzle for %@::%@, even though it didn't already exist locally", onClass,
              selector);
        return;
    }
    slots_[selector] = OTSwizzle{onClass, selector, previous, argumentCount(selector), {{named, block}}};
}

void OTSwizzler::unswizzleSelector(const std::string& selector, const std::string&, const std::string& named) {
    std::lock_guard lock(mutex_);
    if (const auto slot = slots_.find(selector); slot != slots_.end()) slot->second.blocks.erase(named);
}

bool OTSwizzler::isLocallyDefinedMethod(const std::string& method, const std::string& onClass) const {
    return runtime_->isLocallyDefined(onClass, method);
}

}  // namespace corvane
