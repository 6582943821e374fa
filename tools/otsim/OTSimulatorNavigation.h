#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace corvane {

class OTHeadlessUIHost;
class OTTabBarController;

// What the library did to the host app's pages, as observations: pages pushed, tabs switched,
// pages presented, addresses opened in the app or outside. The host's and the user's own moves are
// taken in without a word.
class OTSimulatorNavigation {
public:
    using Observe = std::function<void(nlohmann::json observation)>;

    OTSimulatorNavigation(std::shared_ptr<OTTabBarController> tabBar, OTHeadlessUIHost& host, Observe observe);

    // Observes what changed since the last look.
    void collect();
    // The host pushed a page or the user closed one: not the library's doing.
    void hostMoved();

private:
    struct State {
        std::int64_t selectedTab = 0;
        std::vector<std::size_t> stackSizes;
        std::vector<std::string> presented;
        std::size_t openedURLs = 0;
    };
    State state() const;

    const std::shared_ptr<OTTabBarController> tabBar_;
    OTHeadlessUIHost& host_;
    const Observe observe_;
    State seen_;
};

}  // namespace corvane
