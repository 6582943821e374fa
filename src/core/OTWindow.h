#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/OTViewController.h"

// A window of the host app: its root page, the activation state of its scene, and the views laid
// over the root page (a splash screen, an advertisement, a dialog), last on top.
class OTWindow : public std::enable_shared_from_this<OTWindow> {
public:
    enum ActivationState : std::int64_t { ForegroundActive = 0, ForegroundInactive = 1, Background = 2 };

    explicit OTWindow(std::shared_ptr<OTViewController> root = nullptr, ActivationState state = ForegroundActive);

    std::shared_ptr<OTViewController> rootViewController() const;
    void setRootViewController(std::shared_ptr<OTViewController> root);
    ActivationState activationState() const;
    void setActivationState(ActivationState state);

    std::vector<std::string> subviews() const;
    void addSubview(const std::string& name);
    // Removes the view; hooks observing the removal run before it goes.
    void removeSubview(const std::string& name);

private:
    mutable std::mutex mutex_;
    std::shared_ptr<OTViewController> root_;
    ActivationState state_;
    std::vector<std::string> subviews_;
};
