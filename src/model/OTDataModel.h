#pragma once

#include <nlohmann/json_fwd.hpp>

#include "foundation/OTCoding.h"

namespace corvane {

// Base of every campaign record: filled from one JSON object and archived with its keys.
class OTDataModel : public OTCoding {
public:
    static constexpr const char* kArchiveClassName = "OTDataModel";

    // Subclasses fill themselves from a JSON object and first call the base, which does nothing.
    virtual void setModelWithDic(const nlohmann::json& dic);

    const char* archiveClassName() const override { return kArchiveClassName; }
    // The base writes nothing and reads nothing.
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
};

}  // namespace corvane
