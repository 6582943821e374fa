#include "ui/OTLabel.h"

namespace corvane {

void OTLabel::setAttribute(std::shared_ptr<OTTextAttribute> attribute) {
    attribute_ = std::move(attribute);
    if (attribute_) {
        applyCampaignStyle(attribute_->text(), attribute_->color(), attribute_->backgroundColor(), attribute_->size());
    }
}

}  // namespace corvane
