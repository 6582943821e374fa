#include "platform/OTMethodRuntime.h"

#include "platform/OTEnvironment.h"

namespace corvane {

namespace {
void nothing(const OTMethodRuntime::Receiver&, const std::string&, const OTMethodRuntime::Arguments&) {}
constexpr int kMaxChain = 64;  // a class chain longer than this is treated as a cycle
}  // namespace

OTMethodRuntime::OTMethodRuntime() {
    // The platform classes the library observes, with their own (empty) methods.
    classes_["UIResponder"] = Class{"", {}};
    classes_["UIViewController"] = Class{"UIResponder", {{"viewDidAppear:", nothing}, {"viewWillDisappear:", nothing}}};
    classes_["UINavigationController"] = Class{"UIViewController", {}};
    classes_["UITabBarController"] = Class{"UIViewController", {}};
    classes_["UIView"] = Class{"UIResponder", {{"willRemoveSubview:", nothing}}};
    classes_["UIWindow"] = Class{"UIView", {}};
}

std::shared_ptr<OTMethodRuntime> OTMethodRuntime::shared() {
    return OTEnvironment::current()->singleton<OTMethodRuntime>([] { return std::make_shared<OTMethodRuntime>(); });
}

void OTMethodRuntime::defineClass(const std::string& name, const std::string& superclass) {
    if (name.empty() || name == superclass) return;
    std::lock_guard lock(mutex_);
    auto& entry = classes_[name];
    entry.superclass = superclass;
}

bool OTMethodRuntime::classExists(const std::string& name) const {
    std::lock_guard lock(mutex_);
    return classes_.count(name) > 0;
}

std::optional<OTMethodRuntime::Implementation> OTMethodRuntime::instanceMethod(const std::string& className,
                                                                               const std::string& selector) const {
    std::lock_guard lock(mutex_);
    std::string current = className;
    for (int depth = 0; depth < kMaxChain && !current.empty(); ++depth) {
        const auto it = classes_.find(current);
        if (it == classes_.end()) return std::nullopt;
        if (const auto method = it->second.methods.find(selector); method != it->second.methods.end())
            return method->second;
        current = it->second.superclass;
    }
    return std::nullopt;
}

bool OTMethodRuntime::isLocallyDefined(const std::string& className, const std::string& selector) const {
    std::lock_guard lock(mutex_);
    const auto it = classes_.find(className);
    return it != classes_.end() && it->second.methods.count(selector) > 0;
}

bool OTMethodRuntime::setImplementation(const std::string& className, const std::string& selector,
                                        Implementation implementation) {
    std::lock_guard lock(mutex_);
    const auto it = classes_.find(className);
    if (it == classes_.end()) return false;
    const auto method = it->second.methods.find(selector);
    if (method == it->second.methods.end()) return false;
    method->second = std::move(implementation);
    return true;
}

bool OTMethodRuntime::addMethod(const std::string& className, const std::string& selector,
                                Implementation implementation) {
    std::lock_guard lock(mutex_);
    const auto it = classes_.find(className);
    if (it == classes_.end() || !implementation) return false;
    return it->second.methods.emplace(selector, std::move(implementation)).second;
}

void OTMethodRuntime::invoke(const std::string& className, const Receiver& receiver, const std::string& selector,
                             const Arguments& arguments) const {
    if (auto implementation = instanceMethod(className, selector)) (*implementation)(receiver, selector, arguments);
}

bool OTMethodRuntime::ot_exchangeOriginalSel(const std::string& className, const std::string& original,
                                             const std::string& replaced) {
    const auto originalImp = instanceMethod(className, original);
    const auto replacedImp = instanceMethod(className, replaced);
    if (!originalImp || !replacedImp) return false;
    if (!isLocallyDefined(className, original)) {
        // The class only inherits the original: it gets its own copy holding the replacement, and
        // the replacement's name takes the inherited implementation.
        if (!addMethod(className, original, *replacedImp)) return false;
        if (!setImplementation(className, replaced, *originalImp)) addMethod(className, replaced, *originalImp);
        return true;
    }
    setImplementation(className, original, *replacedImp);
    if (!setImplementation(className, replaced, *originalImp)) addMethod(className, replaced, *originalImp);
    return true;
}

}  // namespace corvane
