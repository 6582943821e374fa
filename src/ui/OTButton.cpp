#include "ui/OTButton.h"

void OTButton::setAttribute(std::shared_ptr<OTButtonAttribute> attribute) {
    attribute_ = std::move(attribute);
    if (attribute_) applyWidgetAttribute(*attribute_);
}
