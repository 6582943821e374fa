#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

class OTSceneNode;
class OTTextMeasurer;
class OTViewController;
class OTWebView;
class OTWindow;

// The platform's user interface as the library uses it. UIKit backs it on Apple; Linux has the
// headless host, which records what it is asked to do.
class OTUIHost {
public:
    struct MailAttachment {
        std::vector<std::uint8_t> data;
        std::string fileName;
    };
    struct MailRequest {
        std::string subject;
        std::vector<std::string> recipients;
        std::string body;
        std::vector<MailAttachment> attachments;
    };
    enum class MailResult { Cancelled, Saved, Sent, Failed };
    using MailFinished = std::function<void(MailResult, const std::optional<std::string>& error)>;

    virtual ~OTUIHost() = default;

    // The platform's own user interface, for an environment given none. The user interface
    // defines it, so the seam names no implementation: on Linux, the headless host.
    static std::shared_ptr<OTUIHost> makeDefault();

    virtual bool canSendMail() = 0;
    // Presents a mail composer over `from`; `finished` runs on the main queue with the user's choice.
    virtual void presentMailComposer(const MailRequest& request, const std::shared_ptr<OTViewController>& from,
                                     MailFinished finished) = 0;
    virtual void dismissMailComposer() = 0;
    // Tells the user something in a short message.
    virtual void showMessage(const std::string& text) = 0;
    // Animates the key window's bounds to the given size; `completion` runs on the main queue.
    virtual void animateKeyWindowBounds(double width, double height, std::chrono::milliseconds duration,
                                        std::function<void()> completion) = 0;
    // Ends the process.
    virtual void terminate(int status) = 0;
    // The app's windows, one per connected scene, in the order the platform lists them.
    virtual std::vector<std::shared_ptr<OTWindow>> windows() = 0;

    // Links handed to the system: whether some app opens the address, and opening it outside.
    virtual bool canOpenURL(const std::string& url) = 0;
    virtual void openURL(const std::string& url) = 0;

    // Notification permission and remote notifications.
    virtual void setNotificationCenterDelegate(const std::shared_ptr<void>& delegate) = 0;
    // `options` are the platform's bits (badge 1, sound 2, alert 4, car play 8); `completion` runs
    // with the answer, or with an error text.
    virtual void requestNotificationAuthorization(
        std::int64_t options,
        std::function<void(bool granted, const std::optional<std::string>& error)> completion) = 0;
    virtual void registerUserNotificationSettings(std::int64_t types) = 0;
    virtual void registerForRemoteNotifications() = 0;

    // Asks a table or collection view of the host to load its cells again.
    virtual void reloadData(const std::shared_ptr<OTSceneNode>& listView) = 0;

    // Text heights for layout.
    virtual OTTextMeasurer& textMeasurer() = 0;
    // A new web view; the headless host's pages are driven by hand.
    virtual std::shared_ptr<OTWebView> makeWebView() = 0;
};

}  // namespace corvane
