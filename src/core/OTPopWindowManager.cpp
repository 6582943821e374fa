#include "core/OTPopWindowManager.h"

#include <algorithm>

#include "platform/OTEnvironment.h"

namespace corvane {

std::shared_ptr<OTPopWindowManager> OTPopWindowManager::sharedManager() {
    return OTEnvironment::current()->singleton<OTPopWindowManager>(
        [] { return std::make_shared<OTPopWindowManager>(); });
}

void OTPopWindowManager::handlePopWindow(const std::shared_ptr<OTDialogView>& view) {
    if (!view) return;
    const bool showing = view->isShowing();
    std::lock_guard lock(mutex_);
    const auto it = std::find(popWindows_.begin(), popWindows_.end(), view);
    if (showing && it == popWindows_.end()) popWindows_.push_back(view);
    else if (!showing && it != popWindows_.end()) popWindows_.erase(it);
}

bool OTPopWindowManager::isHandlingPopWindow() const {
    std::lock_guard lock(mutex_);
    return !popWindows_.empty();
}

std::vector<std::shared_ptr<OTDialogView>> OTPopWindowManager::popWindows() const {
    std::lock_guard lock(mutex_);
    return popWindows_;
}

std::shared_ptr<OTDialogPresenter> OTPopWindowManager::presenter() const {
    std::lock_guard lock(mutex_);
    return presenter_;
}

void OTPopWindowManager::setPresenter(std::shared_ptr<OTDialogPresenter> presenter) {
    std::lock_guard lock(mutex_);
    presenter_ = std::move(presenter);
}

void OTPopWindowManager::setPresenterIfNone(const std::function<std::shared_ptr<OTDialogPresenter>()>& make) {
    std::lock_guard lock(mutex_);
    if (!presenter_) presenter_ = make();
}

}  // namespace corvane
