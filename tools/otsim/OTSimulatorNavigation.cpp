#include "OTSimulatorNavigation.h"

#include <algorithm>

#include "render/OTHeadlessUIHost.h"
#include "view/OTNavigationController.h"
#include "view/OTTabBarController.h"

namespace corvane {

using nlohmann::json;

OTSimulatorNavigation::OTSimulatorNavigation(std::shared_ptr<OTTabBarController> tabBar, OTHeadlessUIHost& host,
                                             Observe observe)
    : tabBar_(std::move(tabBar)), host_(host), observe_(std::move(observe)), seen_(state()) {}

void OTSimulatorNavigation::hostMoved() {
    const auto now = state();
    seen_.stackSizes = now.stackSizes;
    seen_.presented = now.presented;
}

OTSimulatorNavigation::State OTSimulatorNavigation::state() const {
    State state;
    state.selectedTab = tabBar_->selectedIndex();
    for (const auto& child : tabBar_->viewControllers()) {
        const auto stack = std::dynamic_pointer_cast<OTNavigationController>(child);
        state.stackSizes.push_back(stack ? stack->viewControllers().size() : 0);
    }
    std::shared_ptr<OTViewController> top = tabBar_;
    while ((top = top->presentedViewController())) state.presented.push_back(top->className());
    const auto records = host_.records();
    state.openedURLs = static_cast<std::size_t>(std::count_if(
        records.begin(), records.end(), [](const std::string& r) { return r.rfind("open url: ", 0) == 0; }));
    return state;
}

void OTSimulatorNavigation::collect() {
    const auto now = state();
    const auto records = host_.records();
    std::size_t opened = 0;
    for (const auto& record : records) {
        if (record.rfind("open url: ", 0) != 0) continue;
        if (++opened > seen_.openedURLs) {
            observe_({{"type", "navigation"}, {"kind", "url-outside"}, {"target", record.substr(10)}});
        }
    }
    if (now.presented.size() > seen_.presented.size()) {
        std::shared_ptr<OTViewController> top = tabBar_;
        while (auto next = top->presentedViewController()) top = next;
        if (top->className() == "SFSafariViewController") {
            observe_({{"type", "navigation"}, {"kind", "url-inapp"}, {"target", top->valueForKey("URL").value_or("")}});
        } else {
            observe_({{"type", "navigation"}, {"kind", "present"}, {"target", top->className()}});
        }
    }
    if (now.selectedTab != seen_.selectedTab) {
        const auto selected = std::dynamic_pointer_cast<OTNavigationController>(tabBar_->selectedViewController());
        const auto top = selected ? selected->topViewController() : nullptr;
        observe_({{"type", "navigation"},
                  {"kind", "tab"},
                  {"target", top ? top->className() : std::to_string(now.selectedTab)}});
    }
    for (std::size_t i = 0; i < now.stackSizes.size() && i < seen_.stackSizes.size(); ++i) {
        if (now.stackSizes[i] <= seen_.stackSizes[i]) continue;
        const auto stack = std::dynamic_pointer_cast<OTNavigationController>(tabBar_->viewControllers()[i]);
        json target = stack->topViewController()->className();
        observe_({{"type", "navigation"},
                  {"kind", "push"},
                  {"target", target},
                  {"properties", stack->topViewController()->propertyValues()}});
    }
    seen_ = now;
}

}  // namespace corvane
