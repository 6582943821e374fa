#pragma once

#include <memory>
#include <string>
#include <vector>

namespace corvane {

class OTScheduler;
class OTSDKManager;
class OTSwizzler;
class OTViewController;

// Reports every page of the host app that appears (the platform's own pages and containers left
// out) to its delegate, the engine, while the engine collects pages. Lives within the scheduler's
// environment, as the engine does.
class OTPageCollection : public std::enable_shared_from_this<OTPageCollection> {
public:
    OTPageCollection(OTScheduler& scheduler, std::shared_ptr<OTSwizzler> swizzler);

    // Intercepts "viewDidAppear:" and "viewWillDisappear:" of every page, on the main queue.
    void collectPage();
    void viewDidAppear(const std::shared_ptr<OTViewController>& controller);
    void viewWillDisappear(const std::shared_ptr<OTViewController>& controller);
    bool canCollectViewController(const std::shared_ptr<OTViewController>& controller) const;

    std::shared_ptr<OTSDKManager> delegate() const { return delegate_.lock(); }
    void setDelegate(const std::shared_ptr<OTSDKManager>& delegate) { delegate_ = delegate; }
    const std::vector<std::string>& excludedClassNames() const { return excluded_; }

private:
    OTScheduler& scheduler_;
    const std::shared_ptr<OTSwizzler> swizzler_;
    const std::vector<std::string> excluded_;
    std::weak_ptr<OTSDKManager> delegate_;
};

}  // namespace corvane
