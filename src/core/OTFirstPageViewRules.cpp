#include "core/OTFirstPageViewRules.h"

#include "core/OTDispatchQueueManager.h"
#include "core/OTNavigation.h"

#include "foundation/OTJSONValue.h"
#include "foundation/OTLogFormatter.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "platform/OTEnvironment.h"
#include "services/OTLogger.h"
#include "view/OTViewController.h"

namespace corvane {

OTFirstPageViewRules::Page OTFirstPageViewRules::visiblePage(
    OTEnvironment& environment, const std::shared_ptr<OTViewController>& mainPageController) {
    Page page;
    OTDispatchQueueManager::dispatchInMainThread(
        environment.scheduler(),
        [&] {
            const OTNavigation navigation(environment.uiHost());
            const auto current = navigation.currentViewController();
            page.visibleName = current ? current->className() : std::string();
            page.mainPageOnTop =
                mainPageController && navigation.isControllerOnTopOfKeyWindow(mainPageController, std::nullopt);
        },
        false);
    return page;
}

std::optional<std::string> OTFirstPageViewRules::pageUrl(const std::shared_ptr<OTEvent>& event) {
    if (!event || !event->xcontext().is_object()) return std::nullopt;
    const auto it = event->xcontext().find("$url");
    return it == event->xcontext().end() ? std::nullopt : OTJSONValue::text(*it);
}

bool OTFirstPageViewRules::conditionFits(const OTWindowData& data, const std::optional<std::string>& url) {
    const auto condition = data.event();
    return !condition || pageUrl(condition) == url;
}

const char* OTFirstPageViewRules::caseName(Case why) {
    switch (why) {
        case Case::None: return "";
        case Case::NotPageView: return "notPageView";
        case Case::UrlDiffers: return "urlDiffers";
        case Case::NotMainPage: return "notMainPage";
        case Case::MainPageSeenBefore: return "mainPageSeenBefore";
        case Case::MainPageCovered: return "mainPageCovered";
    }
    return "";
}

OTFirstPageViewRules::Decision OTFirstPageViewRules::withoutMainPage(const std::shared_ptr<OTEvent>& event,
                                                                     const std::shared_ptr<const OTWindowData>& data,
                                                                     std::int64_t pvCount, const Page& page,
                                                                     OTConsole& console) {
    const auto url = pageUrl(event);
    OTLog(OTLogger::kLevelLog, "corvane->firstPVWithoutMainPage->xwhat:%@,url:%@,pvCount:%ld,currentControllerName:%@",
          event->xwhat(), url, pvCount, page.visibleName);
    if (event->xwhat() != "$pageview") {
        console.print("corvane->firstPVWithoutMainPage->else->triggerEventMatchInApp");
        return {Outcome::GoNext, Case::NotPageView};
    }
    const auto condition = data->event();
    const OTLogArgument urlArgument[] = {url};
    console.print(OTLogFormatter::format("corvane->firstPVWithoutMainPage:Property_PageUrl->%@", urlArgument));
    const OTLogArgument conditionArgument[] = {condition ? OTLogArgument(condition) : OTLogArgument(nullptr)};
    console.print(OTLogFormatter::format("corvane->firstPVWithoutMainPage:%@", conditionArgument));
    if (conditionFits(*data, url)) return {Outcome::Show};
    console.print("corvane->firstPVWithoutMainPage->triggerEventMatchInApp");
    return {Outcome::GoNext, Case::UrlDiffers};
}

OTFirstPageViewRules::Decision OTFirstPageViewRules::withMainPage(const std::shared_ptr<OTEvent>& event,
                                                                  const std::shared_ptr<const OTWindowData>& data,
                                                                  const std::string& mainPage,
                                                                  std::int64_t mainPagePVCount, const Page& page) {
    OTLog(OTLogger::kLevelLog, "corvane->firstPVWithMainPage:%@,windowData:%@", event, data);
    const auto url = pageUrl(event);
    if (event->xwhat() != "$pageview") return {Outcome::GoNext, Case::NotPageView};
    if (!url || url->empty() || *url != page.visibleName) return {Outcome::GoNext, Case::UrlDiffers};
    if (*url != mainPage) return {Outcome::GoNext, Case::NotMainPage};
    OTLog(OTLogger::kLevelLog, "corvane-firstPVWithMainPage:url->%@,page->%d", url, mainPagePVCount);
    // A first view under a cover waits for it; later views never show.
    if (mainPagePVCount >= 2) return {Outcome::GoNext, Case::MainPageSeenBefore};
    if (!page.mainPageOnTop) return {Outcome::Defer, Case::MainPageCovered};
    return conditionFits(*data, url) ? Decision{Outcome::Show} : Decision{Outcome::GoNext, Case::UrlDiffers};
}

}  // namespace corvane
