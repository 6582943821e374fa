#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

class OTEvent;

// Why each campaign was shown, held back or passed over for one pass of an event: filled by the
// walks, display eligibility and the dialog flow while the pass runs on the event queue, and handed
// over once as one JSON record when the pass is over (the dialog it scheduled on screen, or
// failing to get there). Only made while the host listens, so a pass without a listener pays a
// null check at each decision and nothing more.
//
// A record: {"event": {"xwhat", "source"}, "pass", ["startIndex"], "campaigns": [entry...],
//            ["verdict", "reason", ...values] (when no campaign was examined or the in-app and
//            banner walks were held back), ["omitted": {kind: {verdict: count}}]}
// An entry:  {"id", "kind": "inApp" | "subscribe" | "banner", "verdict", ["reason", ...values]}
// At most kMaxListed entries are listed; the campaigns past them are counted by kind and verdict
// in "omitted", except the one that ends the pass, which is always listed.
class OTDecisionTrace final : public std::enable_shared_from_this<OTDecisionTrace> {
public:
    enum class Kind : std::uint8_t { InApp, Subscribe, Banner };
    using Deliver = std::function<void(nlohmann::json record)>;
    using Explain = std::function<nlohmann::json()>;
    static constexpr std::size_t kMaxListed = 100;

    // `source` is the analytics SDK the event came from (0 CorvaneSDK, 1 Sensors Analytics), when
    // known; `pass` says what started it ("event", "waitingEvent", "mainPageReplay",
    // "afterReaction").
    OTDecisionTrace(const OTEvent& event, std::optional<std::int64_t> source, std::string pass,
                    std::uint64_t startIndex, Deliver deliver);

    // One campaign's verdict. `explain` gives its reason and deciding values as an object and is
    // only asked while entries are still listed in full.
    void add(Kind kind, const std::optional<std::string>& id, const char* verdict, const Explain& explain = {});
    // A verdict that ends the pass: always listed, and named by the campaigns left unexamined.
    void end(Kind kind, const std::optional<std::string>& id, const char* verdict, nlohmann::json values = {});
    // The campaigns of `kind` after the one that ended the pass: `count` of them, `idAt(i)` the
    // id of the i-th.
    void notExamined(Kind kind, std::size_t count, const std::function<std::optional<std::string>(std::size_t)>& idAt);
    // The verdict of the pass itself, when no campaign was examined (or the walks were held back).
    void setOutcome(const char* verdict, nlohmann::json reasonAndValues);

    // The ended campaign waits for its delay: the record waits with it until `shown` or
    // `notPresented` (no presenter) settles it.
    void holdForShowing();
    void shown();
    void notPresented();
    // The pass's own thread is done with the trace: the record goes once nothing holds it.
    void close();

    // The reason object of one decision: {"reason": reason, ...values}.
    static nlohmann::json reason(const char* reason, nlohmann::json values = nlohmann::json::object());
    static const char* kindName(Kind kind);

private:
    struct Ended {
        std::size_t entry = 0;
        std::optional<std::string> id;
        std::string verdict;
    };
    void list(nlohmann::json values, Kind kind, const std::optional<std::string>& id, const char* verdict);
    void omit(Kind kind, std::string_view verdict, std::size_t campaigns);
    void settle(const char* verdict, bool presented);
    void deliverIfDone(std::unique_lock<std::mutex>& lock);

    mutable std::mutex mutex_;
    nlohmann::json record_;
    std::vector<nlohmann::json> campaigns_;
    std::size_t listed_ = 0;
    std::array<std::map<std::string, std::size_t, std::less<>>, 3> omitted_;
    std::array<std::optional<Ended>, 3> ended_;
    bool held_ = false;
    bool closed_ = false;
    bool delivered_ = false;
    Deliver deliver_;
};

}  // namespace corvane
