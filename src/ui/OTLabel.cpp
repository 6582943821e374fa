#include "ui/OTLabel.h"

void OTLabel::setAttribute(std::shared_ptr<OTTextAttribute> attribute) {
    attribute_ = std::move(attribute);
    if (attribute_) applyWidgetAttribute(*attribute_);
}
