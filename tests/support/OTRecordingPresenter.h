#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/OTPopWindowManager.h"
#include "model/OTWindowData.h"

namespace corvane {

// Stands in for the dialog window: remembers each dialog asked for and lets a test play the user.
class OTRecordingPresenter final : public OTDialogPresenter {
public:
    struct Shown {
        std::shared_ptr<const OTWindowData> data;
        EventAction action;
    };

    void popWithData(const std::shared_ptr<const OTWindowData>& data, EventAction eventAction) override {
        shown.push_back({data, std::move(eventAction)});
        shown.back().action(1, std::nullopt);
    }

    // The user reacts to the last dialog shown.
    void react(std::int64_t type, std::optional<std::string> link = std::nullopt) {
        if (!shown.empty()) shown.back().action(type, link);
    }

    std::vector<std::string> shownIds() const {
        std::vector<std::string> ids;
        for (const auto& s : shown) ids.push_back(s.data->windowId().value_or(""));
        return ids;
    }

    std::vector<Shown> shown;
};

}  // namespace corvane
