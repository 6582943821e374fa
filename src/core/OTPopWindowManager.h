#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

class OTWindowData;

// A dialog on screen, as the dialog manager tracks it.
class OTDialogView {
public:
    virtual ~OTDialogView() = default;
    virtual bool isShowing() const = 0;
    // The campaign it shows, when it shows one.
    virtual std::optional<std::string> campaignId() const { return std::nullopt; }
};

// Shows dialogs: reports each user reaction as (event type, link); see OTPopWindowManager for types.
class OTDialogPresenter {
public:
    using EventAction = std::function<void(std::int64_t type, const std::optional<std::string>& link)>;
    virtual ~OTDialogPresenter() = default;
    // Called on the main queue.
    virtual void popWithData(const std::shared_ptr<const OTWindowData>& data, EventAction eventAction) = 0;
};

// Keeps the dialogs on screen and whether dialogs may be shown at all.
// Event types: 1 shown, -1 a tool dialog shown, 2 picture clicked, 3 closed, 4 left, 5 right and
// 6 middle button.
class OTPopWindowManager {
public:
    static std::shared_ptr<OTPopWindowManager> sharedManager();

    // A view reports each change of its showing state.
    void handlePopWindow(const std::shared_ptr<OTDialogView>& view);
    bool isHandlingPopWindow() const;
    std::vector<std::shared_ptr<OTDialogView>> popWindows() const;
    // False holds every dialog back.
    bool autoPopWindow() const { return autoPopWindow_.load(); }
    void setAutoPopWindow(bool value) { autoPopWindow_.store(value); }

    // What shows the dialogs; nothing is shown while none is set.
    std::shared_ptr<OTDialogPresenter> presenter() const;
    void setPresenter(std::shared_ptr<OTDialogPresenter> presenter);
    // Sets `make()` as the presenter unless one is set already.
    void setPresenterIfNone(const std::function<std::shared_ptr<OTDialogPresenter>()>& make);

private:
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<OTDialogView>> popWindows_;
    std::atomic<bool> autoPopWindow_{true};
    // The facade sets the dialog window presenter; a host or test may set another.
    std::shared_ptr<OTDialogPresenter> presenter_;
};

}  // namespace corvane
