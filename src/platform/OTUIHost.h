#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class OTViewController;
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
};
