#include "facade/OTHostPages.h"

#include "core/OTNavigation.h"
#include "core/OTPushManager.h"
#include "platform/OTEnvironment.h"
#include "platform/OTPageClassRegistry.h"
#include "render/OTHeadlessUIHost.h"
#include "view/OTNavigationController.h"
#include "view/OTWindow.h"

namespace corvane {

namespace {
std::shared_ptr<OTViewController> makePage(const std::string& name) {
    const auto declared = OTPageClassRegistry::shared()->pageClassNamed(name);
    return std::make_shared<OTViewController>(name, declared ? declared->superclasses : std::vector<std::string>{});
}

// The model's page of class `name`, made the visible one.
std::shared_ptr<OTViewController> showInModel(const std::string& name) {
    auto top = OTNavigation(OTEnvironment::current()->uiHost()).currentViewController();
    if (!top) {
        auto page = makePage(name);
        if (auto* host = dynamic_cast<OTHeadlessUIHost*>(&OTEnvironment::current()->uiHost())) {
            host->setWindows({std::make_shared<OTWindow>(OTNavigationController::withRoot(page))});
        }
        return page;
    }
    if (top->className() == name) return top;
    const auto stack = top->navigationController();
    if (stack) {
        // Back to it: the host popped the pages above.
        const auto pages = stack->viewControllers();
        for (auto page = pages.rbegin(); page != pages.rend(); ++page) {
            if ((*page)->className() != name) continue;
            while (stack->topViewController() != *page && stack->popViewController(false)) {}
            return *page;
        }
    }
    auto page = makePage(name);
    // A tab rooted at its class: the host switched tabs, as a link to it would.
    if (OTPushManager::sharedManager()->_controllerInRootPageFrom(page, top)) {
        return OTNavigation(OTEnvironment::current()->uiHost()).currentViewController();
    }
    if (stack) stack->pushViewController(page, false);
    else top->presentViewController(page, false);
    return page;
}
}  // namespace

bool OTHostPages::registerPage(const std::string& name, std::vector<std::string> properties) {
    if (name.empty()) return false;
    OTPageClassRegistry::shared()->registerPageClass({name, std::move(properties), std::nullopt, std::nullopt});
    return true;
}

bool OTHostPages::pageShown(const std::string& name) {
    if (name.empty()) return false;
    if (const auto page = showInModel(name)) page->viewDidAppear(false);
    return true;
}

}  // namespace corvane
