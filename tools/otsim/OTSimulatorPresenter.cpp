#include "OTSimulatorPresenter.h"

#include "ui/OTPopWindowPresenter.h"

namespace corvane {

OTSimulatorPresenter::OTSimulatorPresenter(Shown shown, Reacted reacted)
    : inner_(std::make_shared<OTPopWindowPresenter>()), shown_(std::move(shown)), reacted_(std::move(reacted)) {}

void OTSimulatorPresenter::popWithData(const std::shared_ptr<const OTWindowData>& data, EventAction eventAction) {
    if (shown_) shown_(data);
    inner_->popWithData(data, [data, eventAction = std::move(eventAction), reacted = reacted_](
                                  std::int64_t type, const std::optional<std::string>& link) {
        if (reacted) reacted(data, type);
        if (eventAction) eventAction(type, link);
    });
}

}  // namespace corvane
