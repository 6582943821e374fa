#pragma once

#include <memory>
#include <vector>

#include "view/OTViewController.h"

namespace corvane {

// A stack of pages; the last one is on top.
class OTNavigationController final : public OTViewController {
public:
    explicit OTNavigationController(std::string className = "UINavigationController",
                                    std::vector<std::string> superclasses = {});

    static std::shared_ptr<OTNavigationController> withRoot(const std::shared_ptr<OTViewController>& root);

    bool isNavigationController() const override { return true; }
    std::vector<std::shared_ptr<OTViewController>> viewControllers() const;
    std::shared_ptr<OTViewController> topViewController() const;
    void pushViewController(const std::shared_ptr<OTViewController>& controller, bool animated);
    void popToRootViewController(bool animated);
    // The page on top goes, unless it is the root.
    std::shared_ptr<OTViewController> popViewController(bool animated);

private:
    std::vector<std::shared_ptr<OTViewController>> stack_;
};

}  // namespace corvane
