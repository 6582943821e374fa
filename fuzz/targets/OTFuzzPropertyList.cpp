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
    decodeAs<OTWindowData>(*plist);
    decodeAs<OTWindowRecordTreeNode>(*plist);
    decodeAs<OTBannerRecordTreeNode>(*plist);
    decodeAs<OTRecordTreeNode>(*plist);
    decodeAs<OTEvent>(*plist);
    decodeAs<OTEventRule>(*plist);
    decodeAs<OTWindowRule>(*plist);
    decodeAs<OTWidgetAttribute>(*plist);
    decodeAs<OTTextAttribute>(*plist);
    decodeAs<OTButtonAttribute>(*plist);
    decodeAs<OTPicture>(*plist);
    decodeAs<OTColor>(*plist);
    if (const auto* root = plist->find("$root")) {
        decodeAs<OTWindowData>(*root);
        decodeAs<OTWindowRecordTreeNode>(*root);
        decodeAs<OTBannerRecordTreeNode>(*root);
        decodeAs<OTEvent>(*root);
    }
    return 0;
}

}  // namespace corvane
