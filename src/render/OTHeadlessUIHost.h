#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "foundation/OTGeometry.h"
#include "platform/OTTextMeasurer.h"
#include "platform/OTUIHost.h"
#include "render/OTHeadlessWebView.h"

namespace corvane {

// The user interface without a screen: every request is recorded as a line, mail finishes with a
// result the test chose, animations complete after their duration on the environment's main queue
// and termination is only recorded.
class OTHeadlessUIHost final : public OTUIHost {
public:
    bool canSendMail() override;
    void presentMailComposer(const MailRequest& request, const std::shared_ptr<OTViewController>& from,
                             MailFinished finished) override;
    void dismissMailComposer() override;
    void showMessage(const std::string& text) override;
    void animateKeyWindowBounds(double width, double height, std::chrono::milliseconds duration,
                                std::function<void()> completion) override;
    void terminate(int status) override;
    std::vector<std::shared_ptr<OTWindow>> windows() override;
    void setWindows(std::vector<std::shared_ptr<OTWindow>> windows);
    // An address opens when it has a scheme, then "://" or ":", and no blank; local files never do.
    bool canOpenURL(const std::string& url) override;
    void openURL(const std::string& url) override;
    void setNotificationCenterDelegate(const std::shared_ptr<void>& delegate) override;
    void requestNotificationAuthorization(
        std::int64_t options, std::function<void(bool, const std::optional<std::string>&)> completion) override;
    void registerUserNotificationSettings(std::int64_t types) override;
    void registerForRemoteNotifications() override;
    // Recorded as "reloadData table" or "reloadData collection"; the view's own reload actions run.
    void reloadData(const std::shared_ptr<OTSceneNode>& listView) override;
    // Host containers for banners: a plain view, or a table or collection view holding one cell
    // of the same size as its first subview (the list owns the cell, the cell knows its list).
    static std::shared_ptr<OTSceneNode> makeView(const OTSize& size);
    static std::shared_ptr<OTSceneNode> makeTableViewWithCell(const OTSize& size);
    static std::shared_ptr<OTSceneNode> makeCollectionViewWithCell(const OTSize& size);
    OTTextMeasurer& textMeasurer() override { return *measurer_; }
    std::shared_ptr<OTWebView> makeWebView() override;
    // Every web view made so far, oldest first.
    std::vector<std::shared_ptr<OTHeadlessWebView>> webViews() const;

    void setCanSendMail(bool value);
    void setMailOutcome(MailResult result, std::optional<std::string> error = std::nullopt);
    std::vector<std::string> records() const;
    std::vector<MailRequest> mails() const;

private:
    void record(std::string line);

    mutable std::mutex mutex_;
    bool canSendMail_ = true;
    MailResult outcome_ = MailResult::Sent;
    std::optional<std::string> outcomeError_;
    std::vector<std::string> records_;
    std::vector<MailRequest> mails_;
    std::vector<std::shared_ptr<OTWindow>> windows_;
    std::shared_ptr<OTTextMeasurer> measurer_ = std::make_shared<OTTextMeasurer>();
    std::vector<std::shared_ptr<OTHeadlessWebView>> webViews_;
};

}  // namespace corvane
