#include "platform/OTPageClassRegistry.h"

#include "platform/OTEnvironment.h"

namespace corvane {

std::shared_ptr<OTPageClassRegistry> OTPageClassRegistry::shared() {
    return OTEnvironment::current()->singleton<OTPageClassRegistry>(
        [] { return std::make_shared<OTPageClassRegistry>(); });
}

void OTPageClassRegistry::registerPageClass(PageClass pageClass) {
    if (pageClass.name.empty()) return;
    std::lock_guard lock(mutex_);
    auto name = pageClass.name;
    classes_.insert_or_assign(std::move(name), std::move(pageClass));
}

std::optional<OTPageClassRegistry::PageClass> OTPageClassRegistry::pageClassNamed(const std::string& name) const {
    std::lock_guard lock(mutex_);
    const auto it = classes_.find(name);
    if (it == classes_.end()) return std::nullopt;
    return it->second;
}

bool OTPageClassRegistry::classExists(const std::string& name) const {
    std::lock_guard lock(mutex_);
    return classes_.count(name) > 0;
}

}  // namespace corvane
