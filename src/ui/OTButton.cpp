#include "ui/OTButton.h"

namespace corvane {

void OTButton::setAttribute(std::shared_ptr<OTButtonAttribute> attribute) {
    attribute_ = std::move(attribute);
    if (attribute_) {
        applyCampaignStyle(attribute_->text(), attribute_->color(), attribute_->backgroundColor(), attribute_->size());
    }
}

}  // namespace corvane
