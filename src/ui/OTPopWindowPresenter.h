#pragma once

#include <memory>

#include "core/OTPopWindowManager.h"

namespace corvane {

// Shows the engine's dialogs as dialog windows over the key window.
class OTPopWindowPresenter final : public OTDialogPresenter {
public:
    void popWithData(const std::shared_ptr<const OTWindowData>& data, EventAction eventAction) override;
};

}  // namespace corvane
