// A small host app: it registers the library as its analytics observer, tells it who the user is
// and hands it the analytics events it records. Given a campaign server's address, it also starts
// the library against that server, runs the library's main-thread work from its own loop and draws
// what the library shows with its own renderer (text in a terminal), pressing a dialog's first
// button as a user would; then it expects that dialog shown and gone, and exits 1 when it was not.
// Each run starts from a fresh sandbox unless OT_SANDBOX names one:
//   example_host [http://127.0.0.1:8080/]
#include <corvane/CorvaneOtManager.h>
#include <corvane/corvane_ostrel.h>

#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {
using nlohmann::json;

// The host's renderer: each surface the library shows, drawn as lines of text.
class TextRenderer {
public:
    static void show(void* user, uint64_t surface, const char* text) {
        auto& self = *static_cast<TextRenderer*>(user);
        const auto scene = json::parse(text, nullptr, false);
        if (!scene.is_object()) return;
        std::vector<std::string> lines;
        std::optional<uint64_t> firstButton;
        self.draw(scene["root"], lines, firstButton);
        const auto kind = scene.value("kind", "surface");
        std::cout << kind << " " << surface << ":\n";
        for (const auto& line : lines) std::cout << "  " << line << "\n";
        // A dialog is answered once, when it first shows; later calls only redraw it.
        if (kind == "dialog" && firstButton && !self.shown_.contains(surface)) self.pending_ = *firstButton;
        self.shown_[surface] = kind;
    }

    static void dismiss(void* user, uint64_t surface) {
        auto& self = *static_cast<TextRenderer*>(user);
        std::cout << self.shown_[surface] << " " << surface << " dismissed\n";
        self.shown_.erase(surface);
        ++self.dismissed_;
    }

    // Presses the button the last dialog drawn offered first, as a user would.
    void pressPending() {
        if (!pending_) return;
        const auto status = corvane_tap(*pending_);
        std::cout << "pressed " << buttons_[*pending_] << (status == CORVANE_OK ? "" : " (not shown any more)") << "\n";
        pending_.reset();
    }

    bool done() const { return dismissed_ > 0 && shown_.empty(); }

private:
    void draw(const json& node, std::vector<std::string>& lines, std::optional<uint64_t>& firstButton) {
        if (!node.is_object() || node.value("hidden", false)) return;
        const auto role = node.value("role", "");
        const auto text = node.value("text", "");
        const auto id = node.value("id", uint64_t{0});
        if (role == "button" && !text.empty()) {
            buttons_[id] = "[" + text + "]";
            lines.push_back(buttons_[id]);
            if (!firstButton) firstButton = id;
        } else if (role == "label" && !text.empty()) {
            lines.push_back(text);
        } else if (node.contains("image") && node["image"].contains("url")) {
            lines.push_back("<picture " + node["image"].value("url", "") + ">");
        }
        for (const auto& child : node.value("children", json::array())) draw(child, lines, firstButton);
    }

    std::map<uint64_t, std::string> shown_;
    std::map<uint64_t, std::string> buttons_;
    std::optional<uint64_t> pending_;
    int dismissed_ = 0;
};
}  // namespace

// A sandbox of its own for this run, so that a campaign used up last time shows again; removed at
// the end. Nothing when OT_SANDBOX already names one.
class FreshSandbox {
public:
    FreshSandbox() {
        if (std::getenv("OT_SANDBOX") != nullptr) return;
        std::string pattern = (std::filesystem::temp_directory_path() / "corvane-host-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) return;
        path_ = pattern;
        ::setenv("OT_SANDBOX", path_.c_str(), 1);
    }
    ~FreshSandbox() {
        std::error_code ec;
        if (!path_.empty()) std::filesystem::remove_all(path_, ec);
    }
    FreshSandbox(const FreshSandbox&) = delete;
    FreshSandbox& operator=(const FreshSandbox&) = delete;

private:
    std::filesystem::path path_;
};

int main(int argc, char** argv) {
    using corvane::CorvaneOtManager;
    const FreshSandbox sandbox;
    // The library's console lines are kept, not printed: they come on the library's threads, and
    // may still come as main returns.
    static std::atomic<std::size_t> consoleLines{0};
    CorvaneOtManager::setConsole([](std::int64_t, const std::string&) { ++consoleLines; });
    const std::string group = "group.com.example.host";
    auto observer = CorvaneOtManager::getObserverListener(group);
    observer->onUserProfile({{"xwho", "user-1"}, {"calibration_time", 0}});
    const json pageView = {
        {"source", 0}, {"xwhat", "$pageview"}, {"xwho", "user-1"}, {"xcontext", {{"$url", "HomeVC"}}}};
    const json addToCart = {{"source", 0}, {"xwhat", "add_cart"}, {"xwho", "user-1"}, {"xcontext", {{"price", 120}}}};
    int events = 0;
    bool answered = true;
    if (argc > 1) {
        auto config = std::make_shared<corvane::CorvaneOtConfig>();
        config->setApplicationGroupIdentifier(group);
        config->setAppKey("example-app-key");
        config->setMainPage("HomeVC");
        config->setUrl(std::string(argv[1]));
        CorvaneOtManager::startWithConfig(config);

        TextRenderer renderer;
        const corvane_presenter presenter{&renderer, &TextRenderer::show, &TextRenderer::dismiss, nullptr};
        corvane_set_presenter(&presenter);
        // The host shows its home page, and says so, as it would for every page it shows.
        corvane_page_shown("HomeVC");
        // The user comes back to the home page now and then; the campaigns download meanwhile.
        const auto start = std::chrono::steady_clock::now();
        auto nextPageView = start;
        while (!renderer.done() && std::chrono::steady_clock::now() - start < std::chrono::seconds(10)) {
            if (std::chrono::steady_clock::now() >= nextPageView) {
                observer->onEventDataReceived(pageView);
                ++events;
                nextPageView += std::chrono::milliseconds(500);
            }
            CorvaneOtManager::runMainQueue();
            renderer.pressPending();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        corvane_set_presenter(nullptr);
        answered = renderer.done();
    } else {
        observer->onEventDataReceived(pageView);
        ++events;
    }
    observer->onEventDataReceived(addToCart);
    ++events;
    std::cout << "CorvaneOstrel " << CorvaneOtManager::SDKVersion() << ": " << events << " events handed over, "
              << consoleLines << " console lines kept" << std::endl;
    if (!answered) {
        std::cerr << "expected a dialog shown, answered and gone within 10 s; saw none" << std::endl;
        return 1;
    }
    return 0;
}
