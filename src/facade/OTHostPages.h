#pragma once

#include <string>
#include <vector>

namespace corvane {

// Mirrors, in the library's page model, the pages of a host that draws its own screens: the
// host says which page is now visible, and the model's visible page becomes one of that class, so
// that page tracking, first-page-view campaigns and every rule reading the visible page see it as
// they see the pages of the library's own headless host.
class OTHostPages {
public:
    OTHostPages() = delete;

    // Declares a page class the host can show, with the properties a link may set on it.
    // False for an empty name.
    static bool registerPage(const std::string& name, std::vector<std::string> properties);
    // `name` is now the visible page: the model goes back to it when it is further down the
    // current stack, switches to the tab rooted at it, or else shows it on top of the current
    // stack (a window with a stack rooted at it when there is none yet); then it appears, as an
    // intercepted appearance would. False for an empty name. Main queue.
    static bool pageShown(const std::string& name);
};

}  // namespace corvane
