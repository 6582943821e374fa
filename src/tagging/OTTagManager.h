#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace corvane {

class OTFloatingBall;

// The page tagging tool for developers: a floating tag ball over the app which opens the naming
// screen for the page on show, and the upload of the name (alias) given to that page.
class OTTagManager final : public std::enable_shared_from_this<OTTagManager> {
public:
    static constexpr const char* kBallImage = "ot_tag";

    using Completion = std::function<void(bool success)>;

    static std::shared_ptr<OTTagManager> manager();

    // Main thread, as the ball and the screens are.
    void setPageTagState(bool on);
    void showAliasTag();
    void hideAliasTag();
    // The ball while the tool has made one.
    std::shared_ptr<OTFloatingBall> floatingBall() const { return ball_; }
    // What the ball's tap does: pushes a naming screen for the current page on the current
    // navigation stack, unless one is already on top.
    void openAliasScreen();

    // Uploads `alias` as the name of the native page `url` and/or the web page `h5Url`. Nothing
    // happens, not even the completion, without an alias or without one page. The completion runs
    // once, on the HTTP thread: true when the server took it. An expired login logs in again and
    // repeats the upload, within the engine's retry limit. The request is the server link's.
    void uploadAlias(const std::optional<std::string>& alias, const std::optional<std::string>& url,
                     const std::optional<std::string>& h5Url, Completion completion);

private:
    std::shared_ptr<OTFloatingBall> ball_;
};

}  // namespace corvane
