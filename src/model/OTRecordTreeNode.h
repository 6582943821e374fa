#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "foundation/OTCoding.h"
#include "foundation/OTKeyedUnarchiver.h"

namespace corvane {

// The usage record of one campaign, keyed by the campaign id. Nodes are equal when their ids are.
// Fields are read on the event queue and written on the main queue, so each access is guarded.
class OTRecordTreeNode : public OTCoding {
public:
    static constexpr const char* kArchiveClassName = "OTRecordTreeNode";

    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTRecordTreeNode> initWithCoder(const OTKeyedUnarchiver& coder);

    bool isEqual(const OTRecordTreeNode* other) const { return other != nullptr && other->nodeId() == nodeId(); }

    std::int64_t nodeId() const;
    void setNodeId(std::int64_t value);
    std::optional<std::string> startTime() const;
    void setStartTime(std::optional<std::string> value);
    std::optional<std::string> endTime() const;
    void setEndTime(std::optional<std::string> value);

protected:
    void decodeBaseKeys(const OTKeyedUnarchiver& coder);
    mutable std::mutex mutex_;

private:
    std::int64_t nodeId_ = 0;
    std::optional<std::string> startTime_;
    std::optional<std::string> endTime_;
};

}  // namespace corvane
