#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "view/OTViewController.h"

namespace corvane {

class OTSceneNode;

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

    // A view laid over the root page; web views carry the address they show.
    struct Subview {
        std::string name;
        bool isWebView = false;
        std::optional<std::string> url;
        std::shared_ptr<OTSceneNode> node;  // drawn views only; views known by name alone have none
    };

    std::vector<std::string> subviews() const;
    void addSubview(const std::string& name);
    void addWebView(const std::string& name, const std::optional<std::string>& url);
    // The topmost web view laid over the root page, if any.
    std::optional<Subview> topWebView() const;
    // Removes the view; hooks observing the removal run before it goes.
    void removeSubview(const std::string& name);
    // A drawn view laid over the root page, known by its node's name.
    void addSubview(const std::shared_ptr<OTSceneNode>& node);
    void removeSubview(const std::shared_ptr<OTSceneNode>& node);
    // The scene the drawn views hang from: the window's bounds, the screen's size.
    std::shared_ptr<OTSceneNode> scene();

private:
    mutable std::mutex mutex_;
    std::shared_ptr<OTViewController> root_;
    ActivationState state_;
    std::vector<Subview> subviews_;
    std::shared_ptr<OTSceneNode> scene_;
};

}  // namespace corvane
