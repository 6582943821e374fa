#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace corvane {

class OTConsole;
class OTEnvironment;
class OTEvent;
class OTViewController;
class OTWindowData;

// The two rules of first-page-view campaigns, with and without a configured main page. They only
// decide (and log their steps); the engine reads the visible page for them and acts on the outcome.
class OTFirstPageViewRules final {
public:
    enum class Outcome {
        Show,    // the campaign goes to the presentation flow
        GoNext,  // the walk goes on with the next campaign
        Defer,   // something covers the main page: its first view waits for the cover to go
    };
    // Why a campaign is not shown: the first test that failed.
    enum class Case { None, NotPageView, UrlDiffers, NotMainPage, MainPageSeenBefore, MainPageCovered };
    struct Decision {
        Outcome outcome = Outcome::GoNext;
        Case why = Case::None;
    };
    static const char* caseName(Case why);

    // What the main thread showed when the rule was asked.
    struct Page {
        std::string visibleName;     // class name of the visible page controller
        bool mainPageOnTop = false;  // the main page controller is on top of the key window
    };

    // Reads the page facts on the main thread (synchronously from another thread).
    static Page visiblePage(OTEnvironment& environment, const std::shared_ptr<OTViewController>& mainPageController);
    // The page address "$url" among an event's properties.
    static std::optional<std::string> pageUrl(const std::shared_ptr<OTEvent>& event);

    // Prints its steps to `console`, as it always has.
    static Decision withoutMainPage(const std::shared_ptr<OTEvent>& event,
                                    const std::shared_ptr<const OTWindowData>& data, std::int64_t pvCount,
                                    const Page& page, OTConsole& console);
    static Decision withMainPage(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<const OTWindowData>& data,
                                 const std::string& mainPage, std::int64_t mainPagePVCount, const Page& page);

private:
    // A campaign without a condition fits every page; one with a condition only its "$url".
    static bool conditionFits(const OTWindowData& data, const std::optional<std::string>& url);
};

}  // namespace corvane
