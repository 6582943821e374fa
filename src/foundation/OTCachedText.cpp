#include "foundation/OTCachedText.h"

namespace corvane {

OTCachedText& OTCachedText::operator=(const OTCachedText& other) {
    if (this != &other) reset();
    return *this;
}

std::shared_ptr<const std::string> OTCachedText::get(const std::function<std::string()>& make) const {
    {
        std::lock_guard lock(mutex_);
        if (text_) return text_;
    }
    // Made outside the lock: a description may describe other objects, each with a text of its own.
    auto made = std::make_shared<const std::string>(make());
    std::lock_guard lock(mutex_);
    if (!text_) text_ = std::move(made);
    return text_;
}

void OTCachedText::reset() {
    std::lock_guard lock(mutex_);
    text_.reset();
}

}  // namespace corvane
