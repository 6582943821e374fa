#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "view/OTViewController.h"

namespace corvane {

// Tabs of pages (often navigation stacks); one is selected.
class OTTabBarController final : public OTViewController {
public:
    explicit OTTabBarController(std::string className = "UITabBarController",
                                std::vector<std::string> superclasses = {});

    bool isTabBarController() const override { return true; }
    std::vector<std::shared_ptr<OTViewController>> viewControllers() const;
    void setViewControllers(const std::vector<std::shared_ptr<OTViewController>>& controllers);
    std::int64_t selectedIndex() const;
    void setSelectedIndex(std::int64_t index);
    std::shared_ptr<OTViewController> selectedViewController() const;

private:
    std::vector<std::shared_ptr<OTViewController>> children_;
    std::int64_t selectedIndex_ = 0;
};

}  // namespace corvane
