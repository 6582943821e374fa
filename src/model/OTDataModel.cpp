#include "model/OTDataModel.h"

namespace corvane {

void OTDataModel::setModelWithDic(const nlohmann::json&) {}

void OTDataModel::encodeWithCoder(OTKeyedArchiver&) const {}

}  // namespace corvane
