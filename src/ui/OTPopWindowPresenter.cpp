#include "ui/OTPopWindowPresenter.h"

#include "ui/OTPopWindow.h"

namespace corvane {

void OTPopWindowPresenter::popWithData(const std::shared_ptr<const OTWindowData>& data, EventAction eventAction) {
    // The dialog manager keeps the window while it shows; an unknown style is let go at once.
    std::make_shared<OTPopWindow>()->popWithData(data, std::move(eventAction));
}

}  // namespace corvane
