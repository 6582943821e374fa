#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/OTGeometry.h"

namespace corvane {

class OTSceneNode;

// Hands what the library shows to a host that draws it itself: each view laid over the app's
// windows (a dialog, the tag ball) and each banner the host asked for is a surface, described as
// JSON (the surface's id, kind and screen size, and its scene). The host drives it from its main
// loop: `publish` tells the presenter what appeared, changed or went away since the last call,
// and the host's taps and drags come back by node id. Every node keeps its id while it lives.
class OTScenePublisher {
public:
    struct Presenter {
        std::function<void(std::uint64_t surface, const std::string& json)> show;  // new or changed
        std::function<void(std::uint64_t surface)> dismiss;
    };
    struct Banner {
        std::uint64_t surface = 0;
        OTSize size;  // the banner's size, zero before the first banner download
    };

    // The environment's publisher.
    static std::shared_ptr<OTScenePublisher> shared();

    // A new presenter is shown every surface afresh; none stops publishing. A host with no window
    // gets one, over which dialogs can show, whose page stack starts at the configured main page
    // (when started already), which appears at once.
    void setPresenter(std::optional<Presenter> presenter);
    // Calls the presenter for what changed; cheap when nothing did. Main thread.
    void publish();

    // A tap on a node: its button action, else its tap action. False when the node is unknown,
    // gone, off every surface, or ignores touches. Main thread.
    bool tap(std::uint64_t node);
    // A drag that leaves a scrolling node at `offset`: begin, move, lift and rest, as a finger does.
    bool scroll(std::uint64_t node, const OTPoint& offset);

    // A banner of `locationId` in a container of `size`, a surface until released. Main thread.
    Banner loadBanner(const std::string& locationId, const OTSize& size, bool hidesWhenNotAvailable);
    bool releaseBanner(std::uint64_t surface);

private:
    struct Surface {
        std::shared_ptr<OTSceneNode> root;
        std::string kind;
        std::optional<std::string> locationId;
    };
    struct Entry {
        std::weak_ptr<OTSceneNode> node;
        std::uint64_t id = 0;
    };

    std::uint64_t idOf(const std::shared_ptr<OTSceneNode>& node);
    std::vector<Surface> surfaces();
    // The node of `id`, when it lives on a surface now.
    std::shared_ptr<OTSceneNode> shownNode(std::uint64_t id);
    void forgetGoneNodes();
    static void ensureWindow();

    std::mutex mutex_;
    std::optional<Presenter> presenter_;
    std::unordered_map<const OTSceneNode*, Entry> ids_;
    std::unordered_map<std::uint64_t, std::weak_ptr<OTSceneNode>> nodes_;
    std::uint64_t nextId_ = 1;
    std::vector<Surface> banners_;
    std::unordered_map<std::uint64_t, std::string> shown_;  // surface id -> JSON last shown
    std::optional<std::uint64_t> publishedRevision_;
    bool bannersChanged_ = false;
};

}  // namespace corvane
