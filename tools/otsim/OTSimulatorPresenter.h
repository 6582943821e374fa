#pragma once

#include <functional>
#include <memory>

#include "core/OTPopWindowManager.h"

namespace corvane {

// Shows dialogs as the library does (dialog windows over the key window) and tells the simulator
// about each one: when it is asked for, and every reaction it reports.
class OTSimulatorPresenter final : public OTDialogPresenter {
public:
    using Shown = std::function<void(const std::shared_ptr<const OTWindowData>& data)>;
    using Reacted = std::function<void(const std::shared_ptr<const OTWindowData>& data, std::int64_t type)>;

    OTSimulatorPresenter(Shown shown, Reacted reacted);
    void popWithData(const std::shared_ptr<const OTWindowData>& data, EventAction eventAction) override;

private:
    std::shared_ptr<OTDialogPresenter> inner_;
    Shown shown_;
    Reacted reacted_;
};

}  // namespace corvane
