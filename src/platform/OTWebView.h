#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTGeometry.h"

namespace corvane {

// A web view as the web page controller uses it: its configuration and plain state here, the
// page loading behind the virtual operations (WebKit on Apple; the headless view on Linux).
class OTWebView {
public:
    // What the page reports back, on the main thread.
    class Delegate {
    public:
        virtual ~Delegate() = default;
        virtual void didStartProvisionalNavigation() = 0;
        virtual void didFinishNavigation() = 0;
        virtual void didFailProvisionalNavigation(const std::string& error) = 0;
        virtual void estimatedProgressDidChange(double progress) = 0;
        virtual void didReceiveScriptMessage(const std::string& name, const nlohmann::json& body) = 0;
        // Script panels (alert, confirm, text input); `completion` takes the user's answer.
        virtual void runJavaScriptPanel(const std::string& kind, const std::string& message,
                                        std::function<void(const nlohmann::json& answer)> completion) = 0;
    };
    struct UserScript {
        std::string source;
        bool atDocumentStart = true;
        bool forMainFrameOnly = false;
    };

    virtual ~OTWebView() = default;

    virtual void loadRequest(const std::optional<std::string>& url) = 0;
    virtual void reload() = 0;
    virtual bool canGoBack() const = 0;
    virtual void goBack() = 0;
    virtual void stopLoading() = 0;
    virtual std::optional<std::string> URL() const = 0;
    virtual void evaluateJavaScript(const std::string& script,
                                    std::function<void(const nlohmann::json& result)> completion) = 0;

    void setDelegate(std::weak_ptr<Delegate> delegate) { delegate_ = std::move(delegate); }
    std::shared_ptr<Delegate> delegate() const { return delegate_.lock(); }
    void addScriptMessageHandler(const std::string& name) { scriptMessageHandlers_.push_back(name); }
    const std::vector<std::string>& scriptMessageHandlers() const { return scriptMessageHandlers_; }
    void addUserScript(UserScript script) { userScripts_.push_back(std::move(script)); }
    const std::vector<UserScript>& userScripts() const { return userScripts_; }

    const OTRect& frame() const { return frame_; }
    void setFrame(const OTRect& frame) { frame_ = frame; }
    bool hidden() const { return hidden_; }
    void setHidden(bool value) { hidden_ = value; }
    bool allowsInlineMediaPlayback() const { return allowsInlineMediaPlayback_; }
    void setAllowsInlineMediaPlayback(bool value) { allowsInlineMediaPlayback_ = value; }
    bool allowsBackForwardNavigationGestures() const { return allowsBackForwardNavigationGestures_; }
    void setAllowsBackForwardNavigationGestures(bool value) { allowsBackForwardNavigationGestures_ = value; }
    bool hasRefreshControl() const { return hasRefreshControl_; }
    void setHasRefreshControl(bool value) { hasRefreshControl_ = value; }

private:
    std::weak_ptr<Delegate> delegate_;
    std::vector<std::string> scriptMessageHandlers_;
    std::vector<UserScript> userScripts_;
    OTRect frame_;
    bool hidden_ = false;
    bool allowsInlineMediaPlayback_ = false;
    bool allowsBackForwardNavigationGestures_ = false;
    bool hasRefreshControl_ = false;
};

}  // namespace corvane
