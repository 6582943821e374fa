#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "core/OTCampaignStore.h"
#include "core/OTSDKManager.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "model/OTWindowRecordTreeNode.h"

namespace corvane {

// Puts campaigns into an engine as a download would: each with a fresh usage record of its count,
// rules and close type.
class OTCampaignLoader {
public:
    using Loaded = std::pair<std::shared_ptr<const OTWindowData>, std::shared_ptr<OTWindowRecordTreeNode>>;

    // The campaign read from `object` and its new record; the published list is left as it is.
    static Loaded record(OTSDKManager& engine, const nlohmann::json& object) {
        auto data = std::make_shared<OTWindowData>();
        data->setModelWithDic(object);
        auto node = std::make_shared<OTWindowRecordTreeNode>();
        node->setNodeId(data->windowIdIntegerValue());
        node->setCount(data->count());
        node->setClickRule(data->clickRule());
        node->setCloseRule(data->closeRule());
        node->setCloseDialogType(data->closeDialogType());
        engine.campaigns().windowRecordTree()->addTreeNode(node);
        return {data, node};
    }
    // Publishes `objects` as the campaign list, each with its record.
    static std::vector<Loaded> load(OTSDKManager& engine, const std::vector<nlohmann::json>& objects) {
        std::vector<Loaded> loaded;
        std::vector<std::shared_ptr<const OTWindowData>> list;
        for (const auto& object : objects) {
            loaded.push_back(record(engine, object));
            list.push_back(loaded.back().first);
        }
        engine.campaigns().setInAppDataArray(list);
        return loaded;
    }
};

}  // namespace corvane
