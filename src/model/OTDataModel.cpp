#include "model/OTDataModel.h"

void OTDataModel::setModelWithDic(const nlohmann::json&) {}

void OTDataModel::encodeWithCoder(OTKeyedArchiver&) const {}
