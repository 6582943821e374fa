#include "OTSimulatorLoad.h"

#include <atomic>
#include <charconv>
#include <memory>

#include "OTDevServer.h"
#include "OTScenarioAction.h"
#include "core/OTSDKManager.h"
#include "platform/OTDispatchQueue.h"
#include "platform/OTEnvironment.h"

namespace corvane {

using json = nlohmann::json;
using namespace std::chrono_literals;

namespace {
using Clock = std::chrono::steady_clock;

// However far behind the library falls, a run ends.
constexpr auto kCatchUpLimit = 600s;

double seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

// The number a campaign's "id" holds, as a text or a number; 1 when it holds none.
std::int64_t firstId(const json& campaign) {
    const auto id = campaign.value("id", json());
    if (id.is_number_integer()) return id.get<std::int64_t>();
    if (!id.is_string()) return 1;
    const auto& text = id.get_ref<const std::string&>();
    std::int64_t value = 1;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    return failure == std::errc() && end == text.data() + text.size() ? value : 1;
}
}  // namespace

void OTSimulatorLoad::campaigns(const OTScenarioAction& action, OTDevServer* server, const Error& error) {
    if (server == nullptr) return error("campaigns need the embedded server");
    const auto count = action.integer("count", 1);
    const auto& campaign = action.value("campaign");
    const auto first = firstId(campaign);
    json list = json::array();
    for (std::int64_t i = 0; i < count; ++i) {
        auto copy = campaign;
        copy["id"] = std::to_string(first + i);
        list.push_back(std::move(copy));
    }
    server->addData("in_app", std::move(list));
}

void OTSimulatorLoad::events(const OTScenarioAction& action, const std::function<void(const json&)>& send,
                             const Error& error) {
    const auto count = action.integer("count", 1);
    const auto every = action.duration("every", 0);
    const auto& event = action.value("event");
    const auto start = Clock::now();
    // Each event goes when it is due; between them the host's main loop runs, as in an app.
    std::int64_t sent = 0;
    while (sent < count) {
        const auto now = Clock::now();
        while (sent < count && start + sent * every <= now) {
            send(event);
            ++sent;
        }
        if (sent < count) pump_(0ms, nullptr);
    }
    const auto lastSent = Clock::now();
    // The queue is serial: the mark runs once every event before it has been handled.
    auto caughtUp = std::make_shared<std::atomic<Clock::rep>>(0);
    OTEnvironment::current()->queue(OTSDKManager::kEventQueueLabel)->async([caughtUp] {
        caughtUp->store(Clock::now().time_since_epoch().count());
    });
    pump_(kCatchUpLimit, [caughtUp] { return caughtUp->load() != 0; });
    if (caughtUp->load() == 0) return error("the event queue did not catch up within 600 seconds");
    const auto done = Clock::time_point(Clock::duration(caughtUp->load()));
    observe_({{"type", "load"},
              {"events", count},
              {"eventSeconds", seconds((count - 1) * every)},
              {"seconds", seconds(done - start)},
              {"behind", seconds(std::max(done, lastSent) - lastSent)}});
}

bool OTSimulatorLoad::print(std::ostream& out, const std::string& at, const json& o) {
    if (o["type"] != "load") return false;
    out << at << "  load: " << o["events"] << " events paced over " << o["eventSeconds"].get<double>()
        << " s, handled within " << o["seconds"].get<double>() << " s; the event queue was "
        << o["behind"].get<double>() << " s behind the last one\n";
    return true;
}

}  // namespace corvane
