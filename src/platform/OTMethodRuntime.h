#pragma once

#include <any>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

// A small method runtime for platforms without the Objective-C one: classes with a superclass and
// their own methods, looked up through the chain. Headless controllers and windows call their
// "viewDidAppear:", "viewWillDisappear:" and "willRemoveSubview:" through it, so interception
// works the same way as on Apple.
class OTMethodRuntime {
public:
    using Receiver = std::shared_ptr<void>;
    using Arguments = std::vector<std::any>;
    using Implementation = std::function<void(const Receiver& receiver, const std::string& selector, const Arguments&)>;

    OTMethodRuntime();
    static std::shared_ptr<OTMethodRuntime> shared();

    // Declares a class (an existing one keeps its methods); an empty superclass makes a root class.
    void defineClass(const std::string& name, const std::string& superclass);
    bool classExists(const std::string& name) const;
    // The implementation a call would run: the class's own, else the nearest ancestor's.
    std::optional<Implementation> instanceMethod(const std::string& className, const std::string& selector) const;
    bool isLocallyDefined(const std::string& className, const std::string& selector) const;
    // Replaces an own method's implementation; false when the class has none of its own.
    bool setImplementation(const std::string& className, const std::string& selector, Implementation implementation);
    // Adds an own method; false when the class is unknown or already has one.
    bool addMethod(const std::string& className, const std::string& selector, Implementation implementation);
    // Exchanges two methods' implementations. A class without its own copy of `original` first
    // gets one holding `replaced`'s implementation.
    bool ot_exchangeOriginalSel(const std::string& className, const std::string& original, const std::string& replaced);
    // Calls the method on a receiver of `className`; nothing happens when no class in the chain has it.
    void invoke(const std::string& className, const Receiver& receiver, const std::string& selector,
                const Arguments& arguments) const;

private:
    struct Class {
        std::string superclass;
        std::map<std::string, Implementation> methods;
    };
    mutable std::mutex mutex_;
    std::map<std::string, Class> classes_;
};

}  // namespace corvane
