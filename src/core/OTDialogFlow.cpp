#include "core/OTDialogFlow.h"

#include <cmath>

#include "core/OTCampaignStore.h"
#include "core/OTDecisionTrace.h"
#include "core/OTDisplayEligibility.h"
#include "core/OTPopWindowManager.h"
#include "core/OTPushManager.h"
#include "core/OTSDKManager.h"
#include "foundation/OTJSONValue.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "platform/OTEnvironment.h"
#include "services/OTLogger.h"
#include "services/OTUtils.h"

namespace corvane {

void OTDialogFlow::prepareForPopWindowWithData(const std::shared_ptr<const OTWindowData>& data,
                                               const std::shared_ptr<OTEvent>& event, std::uint64_t index) {
    const bool autoPop = engine_.popWindows().autoPopWindow();
    OTLog(OTLogger::kLevelLog, "corvane-->prepareForPopWindowWithData");
    OTLog(OTLogger::kLevelLog, "corvane-->prepareForPopWindowWithData,autoPopWindow:%d", autoPop);
    if (!autoPop) {
        if (auto* trace = engine_.currentTrace()) {
            trace->end(OTDecisionTrace::Kind::InApp, data->windowId(), "heldBack",
                       OTDecisionTrace::reason("dialogsHidden"));
        }
        return;
    }
    const auto showing = data->filledWithProperties(event ? event->xcontext() : nlohmann::json());
    OTLog(OTLogger::kLevelLog, "corvane-->prepareForPopWindowWithData->needContinue");
    std::weak_ptr<OTSDKManager> weak = engine_.weak_from_this();
    // Reactions come on the main queue; matching goes on on the event queue.
    auto goNext = [weak, event, index] {
        if (auto self = weak.lock()) {
            self->onLane([event, index](OTSDKManager& engine) {
                engine.triggerEventMatchInApp(event, index + 1, "afterReaction");
            });
        }
    };
    _showWindowWithData(
        showing,
        [weak, goNext](std::int64_t type, const std::optional<std::string>& link) {
            auto self = weak.lock();
            if (self && _handleWindowClickCallback(type, link)) goNext();
        },
        [goNext](bool shown) {
            if (!shown) goNext();
        });
}

void OTDialogFlow::_showWindowWithData(const std::shared_ptr<const OTWindowData>& data, const EventAction& eventAction,
                                       const std::function<void(bool shown)>& callback) {
    OTLog(OTLogger::kLevelLog, "corvane->_showWindowWithData,windowData:%@,eventAction:%@", data,
          eventAction ? "(block)" : nullptr);
    auto* trace = engine_.currentTrace();
    if (const auto refused = engine_.eligibility().refusalToShow(data)) {
        if (trace != nullptr) {
            trace->add(OTDecisionTrace::Kind::InApp, data->windowId(), "notEligible",
                       [&refused] { return refused->describe(); });
        }
        if (callback) callback(false);
        return;
    }
    OTLog(OTLogger::kLevelLog, "corvane->_showWindowWithData->yes");
    if (callback) callback(true);
    OTLog(OTLogger::kLevelLog, "corvane->_showWindowWithData,windowData:->yes->yes");
    const auto condition = data->event();
    const double delay = (condition ? static_cast<double>(condition->delay()) : 0.0) + 0.2;
    // The pass's record waits for the dialog to reach the screen.
    std::shared_ptr<OTDecisionTrace> held;
    if (trace != nullptr) {
        trace->end(OTDecisionTrace::Kind::InApp, data->windowId(), "scheduled",
                   {{"delay", std::round(delay * 1000) / 1000}});
        trace->holdForShowing();
        held = trace->shared_from_this();
    }
    engine_.setScheduledDialog(data);
    engine_.environment().mainQueue()->after(
        OTJSONValue::durationOfSeconds(delay), [weak = engine_.weak_from_this(), data, eventAction, held] {
            auto engine = weak.lock();
            // Presented or not, it waits no more: the dialog on screen (if any) now holds events back.
            const auto done = [&engine, &data] {
                if (!engine) return;
                engine->onLane([data](OTSDKManager& lane) {
                    if (lane.scheduledDialog() == data) lane.setScheduledDialog(nullptr);
                });
            };
            auto presenter = engine ? engine->popWindows().presenter() : nullptr;
            if (!presenter) {
                OTLog(OTLogger::kLevelError, "没有可用的弹窗展示器，弹窗未展示：%@", data->windowId());
                if (held) held->notPresented();
                done();
                return;
            }
            presenter->popWithData(
                data, [weak, data, eventAction](std::int64_t type, const std::optional<std::string>& link) {
                    auto self = weak.lock();
                    if (!self) return;
                    self->onLane([data, type, link](OTSDKManager& lane) {
                        lane.dialogFlow().reactToDialogEvent(data, type, link);
                    });
                    if (eventAction) eventAction(type, link);
                });
            done();
            if (held) held->shown();
        });
}

void OTDialogFlow::reactToDialogEvent(const std::shared_ptr<const OTWindowData>& data, std::int64_t type,
                                      const std::optional<std::string>& link) {
    engine_.checkLane("reactToDialogEvent");
    const auto tree = engine_.campaigns().windowRecordTree();
    const auto node = tree ? tree->findWindowNodeById(data->windowIdIntegerValue()) : nullptr;
    OTLog(OTLogger::kLevelLog, "corvane->_showWindowWithData,eventType:%d", type);
    switch (type) {
        case 1:
            OTLog(OTLogger::kLevelLog, "showDialog->显示弹窗，弹窗类型：%@", OTWindowData::styleLabel(data->style()));
            syncTreeNode(node, type);
            engine_.reportWindowEventWithName("$impDialog", type, data);
            return;
        case 2: OTLog(OTLogger::kLevelLog, "clickkDialog-pic->点击了弹窗图片"); break;
        case 3: OTLog(OTLogger::kLevelLog, "clickDialog->点击了弹窗关闭按钮"); break;
        case 4: OTLog(OTLogger::kLevelLog, "点击了弹窗 left button"); break;
        case 5: OTLog(OTLogger::kLevelLog, "点击了弹窗 right button"); break;
        case 6: OTLog(OTLogger::kLevelLog, "点击了弹窗 middle button"); break;
        default: return;
    }
    syncTreeNode(node, type);
    engine_.campaigns().handleNodeForbiddenState(*data, engine_.environment().clock().now());
    if (type != 3) engine_.push().handlePush(link);
    engine_.reportWindowEventWithName(type == 3 ? "$closeDialog" : "$clickDialog", type, data);
}

bool OTDialogFlow::_handleWindowClickCallback(std::int64_t type, const std::optional<std::string>& link) {
    switch (type) {
        case 2:
        case 4:
        case 5:
        case 6: return !OTUtils::isUniversalLink(link);
        case 3: return true;
        default: return false;
    }
}

void OTDialogFlow::syncTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node, std::int64_t eventType) {
    if (node) {
        if (eventType == 1) {
            node->setLastPopTime(engine_.environment().clock().now());
        } else if (eventType == 3) {
            node->setCloseCount(node->closeCount() + 1);
            const auto rule = node->closeRule();
            node->setLastEventType(rule ? rule->eventType() : std::nullopt);
        } else {
            node->setClickCount(node->clickCount() + 1);
            const auto rule = node->clickRule();
            node->setLastEventType(rule ? rule->eventType() : std::nullopt);
        }
    }
    engine_.campaigns().syncRecordTree();
}

}  // namespace corvane
