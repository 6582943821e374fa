#pragma once

#include <memory>
#include <optional>
#include <string>

#include "model/OTRecordTreeNode.h"

namespace corvane {

// The usage record of one banner: armed or not, and the digest of the content it was armed for
// ("Nan" for a banner without one).
class OTBannerRecordTreeNode final : public OTRecordTreeNode {
public:
    static constexpr const char* kArchiveClassName = "OTBannerRecordTreeNode";

    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTBannerRecordTreeNode> initWithCoder(const OTKeyedUnarchiver& coder);

    bool activated() const;
    void setActivated(bool value);
    std::optional<std::string> dataMD5() const;
    void setDataMD5(std::optional<std::string> value);

private:
    bool activated_ = false;
    std::optional<std::string> dataMD5_;
};

}  // namespace corvane
