#include "platform/OTHeadlessUIHost.h"

#include <cstdio>

#include "platform/OTEnvironment.h"

bool OTHeadlessUIHost::canSendMail() {
    std::lock_guard lock(mutex_);
    return canSendMail_;
}

void OTHeadlessUIHost::presentMailComposer(const MailRequest& request, const std::shared_ptr<OTViewController>&,
                                           MailFinished finished) {
    MailResult result;
    std::optional<std::string> error;
    {
        std::lock_guard lock(mutex_);
        mails_.push_back(request);
        result = outcome_;
        error = outcomeError_;
    }
    record("mail: " + request.subject);
    if (!finished) return;
    OTEnvironment::current()->mainQueue()->async([finished, result, error] { finished(result, error); });
}

void OTHeadlessUIHost::dismissMailComposer() { record("mail dismissed"); }

void OTHeadlessUIHost::showMessage(const std::string& text) { record("message: " + text); }

void OTHeadlessUIHost::animateKeyWindowBounds(double width, double height, std::chrono::milliseconds duration,
                                              std::function<void()> completion) {
    char line[96];
    std::snprintf(line, sizeof line, "animate key window bounds to %gx%g in %lldms", width, height,
                  static_cast<long long>(duration.count()));
    record(line);
    if (completion) OTEnvironment::current()->mainQueue()->after(duration, std::move(completion));
}

void OTHeadlessUIHost::terminate(int status) { record("terminate " + std::to_string(status)); }

void OTHeadlessUIHost::setCanSendMail(bool value) {
    std::lock_guard lock(mutex_);
    canSendMail_ = value;
}

void OTHeadlessUIHost::setMailOutcome(MailResult result, std::optional<std::string> error) {
    std::lock_guard lock(mutex_);
    outcome_ = result;
    outcomeError_ = std::move(error);
}

std::vector<std::string> OTHeadlessUIHost::records() const {
    std::lock_guard lock(mutex_);
    return records_;
}

std::vector<OTUIHost::MailRequest> OTHeadlessUIHost::mails() const {
    std::lock_guard lock(mutex_);
    return mails_;
}

void OTHeadlessUIHost::record(std::string line) {
    std::lock_guard lock(mutex_);
    records_.push_back(std::move(line));
}

std::vector<std::shared_ptr<OTWindow>> OTHeadlessUIHost::windows() {
    std::lock_guard lock(mutex_);
    return windows_;
}

void OTHeadlessUIHost::setWindows(std::vector<std::shared_ptr<OTWindow>> windows) {
    std::lock_guard lock(mutex_);
    windows_ = std::move(windows);
}
