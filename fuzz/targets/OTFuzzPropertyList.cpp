#include "OTFuzzSupport.h"
#include "OTFuzzTargets.h"
#include "model/OTBannerRecordTreeNode.h"
#include "model/OTButtonAttribute.h"
#include "model/OTEvent.h"
#include "model/OTEventRule.h"
#include "model/OTPicture.h"
#include "model/OTRecordTreeNode.h"
#include "model/OTTextAttribute.h"
#include "model/OTWidgetAttribute.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTreeNode.h"
#include "model/OTWindowRule.h"
#include "platform/formats/OTDescription.h"
#include "platform/formats/OTKeyedArchiver.h"
#include "platform/formats/OTKeyedUnarchiver.h"
#include "platform/view/OTColor.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

namespace {
// Decodes the value (and a list of it) as class T; whatever decodes archives again.
template <class T>
void decodeAs(const OTPropertyList& value) {
    if (auto object = OTKeyedUnarchiver::objectOfClass<T>(value)) {
        (void)OTKeyedArchiver::archivedObject(*object).toBinary();
    }
    if (auto objects = OTKeyedUnarchiver::arrayOfObjectsOfClass<T>(value)) {
        (void)OTKeyedArchiver::archivedArray(*objects).toBinary();
    }
}

template <class... Classes>
void decodeAsEach(const OTPropertyList& value) {
    (decodeAs<Classes>(value), ...);
}
}  // namespace

int otFuzzPropertyList(const std::uint8_t* data, std::size_t size) {
    auto& test = OTFuzzSupport::rig<OTTestEnvironment>();
    const OTFuzzSupport::Settle settle(test);
    const auto plist = OTPropertyList::fromBinary(OTFuzzSupport::text(data, size));
    if (!plist) return 0;
    (void)OTDescription::describe(plist->toJson());
    // What the reader accepts the writer writes, and writing what that reads gives the same bytes.
    const auto written = plist->toBinary();
    OTFuzzSupport::require(written.has_value(), "a property list that was read can be written");
    const auto again = OTPropertyList::fromBinary(*written);
    OTFuzzSupport::require(again.has_value(), "a written property list reads");
    OTFuzzSupport::require(again->toBinary() == written, "rewriting is stable");

    (void)OTKeyedUnarchiver::plainValue(*plist);
    // The value itself, and the root of an archive's envelope, as every archived class.
    for (const auto* value : {&*plist, plist->find("$root")}) {
        if (value == nullptr) continue;
        decodeAsEach<OTWindowData, OTWindowRecordTreeNode, OTBannerRecordTreeNode, OTRecordTreeNode, OTEvent,
                     OTEventRule, OTWindowRule, OTWidgetAttribute, OTTextAttribute, OTButtonAttribute, OTPicture,
                     OTColor>(*value);
    }
    return 0;
}

}  // namespace corvane
