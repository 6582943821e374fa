#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>

#include "view/OTViewController.h"

namespace corvane {

class OTSceneNode;

// The tagging tool's picker: what to tag, the page ("选择页面") or an element of it
// ("选择页面元素"). A tapped row is handed to the owner's callback. Main thread only.
class OTTagListController final : public OTViewController {
public:
    static constexpr std::array<const char*, 2> kRows = {"选择页面", "选择页面元素"};
    static constexpr double kRowHeight = 50;
    static constexpr double kTopInset = 88;

    using Select = std::function<void(std::size_t row)>;

    OTTagListController();
    static std::shared_ptr<OTTagListController> make(Select onSelect);

    void didSelectRowAtIndex(std::size_t row);
    // The screen, made on first use: a table of the rows.
    std::shared_ptr<OTSceneNode> view();

private:
    Select onSelect_;
    std::shared_ptr<OTSceneNode> view_;
};

}  // namespace corvane
