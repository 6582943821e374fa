#include "server/OTEventReporter.h"

#include <nlohmann/json.hpp>

#include "foundation/OTJSONValue.h"
#include "foundation/OTJSONWriter.h"
#include "model/OTButtonAttribute.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "server/OTLoginClient.h"
#include "server/OTNetwork.h"
#include "server/OTServerOutcome.h"
#include "server/OTServerSession.h"
#include "services/OTDataArchiver.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"

namespace corvane {

namespace {
nlohmann::json contextFrom(const nlohmann::json& triggerContext) {
    return triggerContext.is_object() ? triggerContext : nlohmann::json::object();
}
}  // namespace

OTEventReporter::OTEventReporter(std::shared_ptr<OTServerSession> session, std::shared_ptr<OTLoginClient> login,
                                 std::shared_ptr<OTUserConfig> settings)
    : session_(std::move(session)), settings_(std::move(settings)), login_(std::move(login)) {}

void OTEventReporter::reportWindowEventWithName(const std::string& name, std::int64_t type,
                                                const std::shared_ptr<const OTWindowData>& data,
                                                const nlohmann::json& triggerContext) {
    auto event = std::make_shared<OTEvent>();
    event->setAppid(session_->appid().value_or(""));
    event->setXwho(session_->userId().value_or(""));
    event->setXwhen(session_->reportTime());
    event->setXwhat(name);
    auto context = contextFrom(triggerContext);
    context["$lib_version"] = OTServerSession::kSDKVersion;
    context["activityId"] = data ? data->windowId().value_or("") : "";
    if (type != 0) {
        context["$dialog_type"] = type;
        const std::shared_ptr<OTButtonAttribute> button = !data       ? nullptr
                                                          : type == 4 ? data->leftBtnAttribute()
                                                          : type == 5 ? data->rightBtnAttribute()
                                                          : type == 6 ? data->middleBtnAttribute()
                                                                      : nullptr;
        // A button without text leaves the key out, as a nil value would.
        if (button && button->text()) context["dialog_button_text"] = *button->text();
    }
    event->setXcontext(std::move(context));
    tell("made", true, [&](nlohmann::json& record) { record["report"] = event->toDictionary(); });
    _reportEvent(event);
}

void OTEventReporter::reportPushEventWithType(std::int64_t type, const nlohmann::json& msg,
                                              const std::optional<std::string>& groupIdentifier,
                                              const nlohmann::json& triggerContext) {
    OTLog(OTLogger::kLevelLog, "corvane->reportPushEventWithType:type->%d,msg->%@", type, msg);
    if (!msg.is_object()) return;
    auto settings = settings_->configWithGroupIdentifier(groupIdentifier);
    auto event = std::make_shared<OTEvent>();
    // Push events never carry the app id.
    event->setAppid("");
    event->setXwho(settings->userId().value_or(""));
    event->setXwhen(session_->reportTime());
    auto context = contextFrom(triggerContext);
    context["$push_channel"] = OTJSONValue::textAt(msg, "$push_channel").value_or("");
    context["activityId"] = OTJSONValue::textAt(msg, "activityId").value_or("");
    context["$lib_version"] = OTServerSession::kSDKVersion;
    event->setXcontext(std::move(context));
    switch (type) {
        case 0: event->setXwhat("$ot_push_delivery"); break;
        case 1: event->setXwhat("$ot_push_click"); break;
        default: return;
    }
    tell("made", false, [&](nlohmann::json& record) { record["report"] = event->toDictionary(); });
    _reportEvent(event, groupIdentifier);
}

void OTEventReporter::_reportEvent(const std::shared_ptr<OTEvent>& event, OTServerCall::Done done) {
    sendReport(event, true, std::nullopt, std::move(done));
}

void OTEventReporter::_reportEvent(const std::shared_ptr<OTEvent>& event,
                                   const std::optional<std::string>& groupIdentifier, OTServerCall::Done done) {
    sendReport(event, false, groupIdentifier, std::move(done));
}

void OTEventReporter::sendReport(const std::shared_ptr<OTEvent>& event, bool isWindowEvent,
                                 const std::optional<std::string>& groupIdentifier, OTServerCall::Done done) {
    if (!event) return;
    std::weak_ptr<OTEventReporter> weak = weak_from_this();
    OTServerCall::Request request;
    request.path = kReportPath;
    // Push events go out for the group they came with, not the session's.
    if (!isWindowEvent) request.group = groupIdentifier.value_or("");
    request.body = [weak, event, isWindowEvent, groupIdentifier]() -> std::optional<nlohmann::json> {
        auto self = weak.lock();
        if (!self) return std::nullopt;
        std::optional<std::string> token, user;
        if (isWindowEvent) {
            token = self->session_->token();
            user = self->session_->userId();
        } else {
            auto settings = self->settings_->configWithGroupIdentifier(groupIdentifier);
            token = settings->token();
            user = settings->userId();
        }
        auto dictionary = event->toDictionary();
        OTLog(OTLogger::kLevelData, isWindowEvent ? "上报（弹窗）事件:\n%@" : "上报（push）事件:\n%@",
              OTJSONWriter::prettyString(dictionary).value_or(""));
        return nlohmann::json{{"os", self->session_->osObject(false, true)},
                              {"sdkVersion", OTServerSession::kSDKVersion},
                              {"token", token.value_or("")},
                              {"userId", user.value_or("")},
                              {"events", nlohmann::json::array({std::move(dictionary)})}};
    };
    login_->send(
        std::move(request),
        [weak, event, isWindowEvent](OTServerCall& call, OTServerOutcome& outcome) {
            const auto dictionary = event->toDictionary();
            const auto self = weak.lock();
            const bool failed = outcome.kind() == OTServerOutcome::Kind::TransportFailure;
            if (self) {
                self->tell(failed                ? "failed"
                           : outcome.succeeded() ? "sent"
                                                 : "refused",
                           isWindowEvent, [&](nlohmann::json& record) { record["report"] = dictionary; });
            }
            if (failed) {
                OTLog(OTLogger::kLevelError, "上报事件失败！\n事件：%@\ncode:%@\ndescripton:%@\n", dictionary,
                      outcome.errorCode(), outcome.errorDescription());
                if (self) self->syncCachedEvent(event, isWindowEvent);
                return;
            }
            if (outcome.refusedByStatus()) {
                OTLog(OTLogger::kLevelError, "上报事件失败！\n事件：%@\nstatusCode:%@\ndescripton:%@\n", dictionary,
                      outcome.status(), OTServerOutcome::statusText(outcome.status()));
                return;
            }
            OTLog(OTLogger::kLevelLog, "上报事件 data:\n%@", outcome.loggable());
            if (outcome.succeeded()) {
                OTLog(OTLogger::kLevelLog, "上报事件成功, event:\n%@", dictionary);
                return;
            }
            OTLog(OTLogger::kLevelError, "上报事件失败！\n事件：%@\ncode:%@\nmessage:%@\n", dictionary, outcome.code(),
                  outcome.message());
            if (outcome.kind() != OTServerOutcome::Kind::TokenExpired) return;
            if (self) call.logInAgainAndRepeat(self->reportEventRetryCount_);
        },
        std::move(done));
}

bool OTEventReporter::writeCachedEvents(const std::vector<std::shared_ptr<OTEvent>>& events,
                                        bool isWindowEvents) const {
    return OTDataArchiver::setData(
        events, session_->documentsPath(isWindowEvents ? kOfflineWindowEventsFileName : kOfflinePushEventsFileName));
}

void OTEventReporter::syncCachedEvent(const std::shared_ptr<OTEvent>& event, bool isWindowEvent) {
    if (!event) return;
    auto& queue = isWindowEvent ? cachedOfflineWindowEvents_ : cachedOfflinePushEvents_;
    const auto limit = maxQueuedReports_.load();
    std::vector<std::shared_ptr<OTEvent>> dropped;
    const bool written = queue.modify([&](auto& events) {
        events.push_back(event);
        if (events.size() > limit) {
            const auto end = events.begin() + static_cast<std::ptrdiff_t>(events.size() - limit);
            dropped.assign(events.begin(), end);
            events.erase(events.begin(), end);
        }
        return writeCachedEvents(events, isWindowEvent);
    });
    if (!dropped.empty()) {
        droppedQueuedReports_.fetch_add(dropped.size());
        OTLog(OTLogger::kLevelWarn, "离线上报队列已满（%@ 条），丢弃最早的 %@ 条", limit, dropped.size());
        tell("dropped", isWindowEvent, [&](nlohmann::json& record) {
            auto& reports = record["reports"] = nlohmann::json::array();
            for (const auto& gone : dropped) reports.push_back(gone->toDictionary());
        });
    }
    tell("queued", isWindowEvent, [&](nlohmann::json& record) {
        record["report"] = event->toDictionary();
        record["written"] = written;
    });
    if (written) {
        OTLog(OTLogger::kLevelData, "syncCachedEvents 成功！isWindowEvent : %@", isWindowEvent ? 1 : 0);
    } else {
        OTLog(OTLogger::kLevelError, "syncCachedEvents 失败！isWindowEvent ：@(%@)", isWindowEvent ? 1 : 0);
    }
}

void OTEventReporter::syncCachedEvents(const std::vector<std::shared_ptr<OTEvent>>& events, bool isWindowEvents) {
    if (writeCachedEvents(events, isWindowEvents)) {
        OTLog(OTLogger::kLevelData, "syncCachedEvents 成功！isWindowEvent : %@", isWindowEvents ? 1 : 0);
    } else {
        OTLog(OTLogger::kLevelError, "syncCachedEvents 失败！isWindowEvent ：@(%@)", isWindowEvents ? 1 : 0);
    }
}

void OTEventReporter::reportCachedOfflineEvents() {
    reportCachedOfflineWindowEvents();
    reportCachedOfflinePushEvents();
}

void OTEventReporter::reportCachedOfflineWindowEvents() {
    flushCachedEvents(true, [this](const auto& event) { _reportEvent(event); });
}

void OTEventReporter::reportCachedOfflinePushEvents() {
    const auto configuration = session_->configuration();
    const auto group = configuration ? configuration->applicationGroupIdentifier() : std::nullopt;
    flushCachedEvents(false, [this, group](const auto& event) { _reportEvent(event, group); });
}

void OTEventReporter::flushCachedEvents(bool isWindowEvents,
                                        const std::function<void(const std::shared_ptr<OTEvent>&)>& send) {
    auto& queue = isWindowEvents ? cachedOfflineWindowEvents_ : cachedOfflinePushEvents_;
    auto loaded = OTDataArchiver::getObjectsForPath<OTEvent>(
        session_->documentsPath(isWindowEvents ? kOfflineWindowEventsFileName : kOfflinePushEventsFileName));
    queue.set(loaded.value_or(std::vector<std::shared_ptr<OTEvent>>{}));
    if (!loaded || loaded->empty()) return;
    tell("loaded", isWindowEvents, [&](nlohmann::json& record) { record["count"] = loaded->size(); });
    // The count is read again at every step: a failure meanwhile appends to the same list.
    for (std::size_t index = 0;; ++index) {
        const auto event = queue.modify([&](auto& events) { return index < events.size() ? events[index] : nullptr; });
        if (!event) break;
        send(event);
    }
    // The list in memory is kept: a later failure writes it whole, re-sent events included.
    syncCachedEvents({}, isWindowEvents);
}

void OTEventReporter::setReportListener(ReportListener listener) {
    reportListener_.set(listener ? std::make_shared<const ReportListener>(std::move(listener)) : nullptr);
}

void OTEventReporter::tell(const char* fate, bool isWindowEvent,
                           const std::function<void(nlohmann::json&)>& fill) const {
    const auto listener = reportListener_.get();
    if (!listener) return;
    nlohmann::json record{{"fate", fate}, {"queue", isWindowEvent ? "window" : "push"}};
    fill(record);
    try {
        (*listener)(record);
    } catch (...) {
        OTLog(OTLogger::kLevelError, "report listener threw; the report goes on");
    }
}

}  // namespace corvane
