#include "OTFuzzSupport.h"
#include "OTFuzzTargets.h"
#include "foundation/OTDescription.h"
#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTKeyedUnarchiver.h"
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
#include "support/OTTestEnvironment.h"
#include "view/OTColor.h"

namespace corvane {

namespace {
// Decodes the top object (and a list of it) as class T; whatever decodes archives again.
template <class T>
void decodeAs(std::string_view bytes) {
    if (auto object = OTKeyedUnarchiver::unarchivedObjectOfClass<T>(bytes)) {
        (void)OTKeyedArchiver::archivedData(*object);
    }
    if (auto objects = OTKeyedUnarchiver::unarchivedArrayOfObjectsOfClass<T>(bytes)) {
        (void)OTKeyedArchiver::archivedData(*objects);
    }
}

template <class... Classes>
void decodeAsEach(std::string_view bytes) {
    (decodeAs<Classes>(bytes), ...);
}
}  // namespace

int otFuzzPropertyList(const std::uint8_t* data, std::size_t size) {
    auto& test = OTFuzzSupport::rig<OTTestEnvironment>();
    const OTFuzzSupport::Settle settle(test);
    const auto bytes = OTFuzzSupport::text(data, size);
    // Archived objects are read object by object, straight from the bytes, whole or not.
    decodeAsEach<OTWindowData, OTWindowRecordTreeNode, OTBannerRecordTreeNode, OTRecordTreeNode, OTEvent, OTEventRule,
                 OTWindowRule, OTWidgetAttribute, OTTextAttribute, OTButtonAttribute, OTPicture, OTColor>(bytes);
    const auto plist = OTPropertyList::fromBinary(bytes);
    if (!plist) return 0;
    (void)OTDescription::describe(plist->toJson());
    // What the reader accepts the writer writes, and writing what that reads gives the same bytes.
    const auto written = plist->toBinary();
    OTFuzzSupport::require(written.has_value(), "a property list that was read can be written");
    const auto again = OTPropertyList::fromBinary(*written);
    OTFuzzSupport::require(again.has_value(), "a written property list reads");
    OTFuzzSupport::require(again->toBinary() == written, "rewriting is stable");

    (void)OTKeyedUnarchiver::plainValue(*plist);
    // The root of an archive's envelope, as every archived class.
    if (const auto* root = plist->find("$root")) {
        if (const auto rootBytes = root->toBinary()) {
            decodeAsEach<OTWindowData, OTWindowRecordTreeNode, OTBannerRecordTreeNode, OTRecordTreeNode, OTEvent,
                         OTEventRule, OTWindowRule, OTWidgetAttribute, OTTextAttribute, OTButtonAttribute, OTPicture,
                         OTColor>(*rootBytes);
        }
    }
    return 0;
}

}  // namespace corvane
