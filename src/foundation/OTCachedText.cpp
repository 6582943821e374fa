#include "foundation/OTCachedText.h"

#include <memory>
#include <utility>

namespace corvane {

OTCachedText& OTCachedText::operator=(const OTCachedText& other) {
    if (this != &other) reset();
    return *this;
}

OTCachedText::~OTCachedText() { reset(); }

const std::string& OTCachedText::keep(std::string made) const {
    auto text = std::make_unique<const std::string>(std::move(made));
    const std::string* expected = nullptr;
    if (text_.compare_exchange_strong(expected, text.get(), std::memory_order_acq_rel)) return *text.release();
    return *expected;
}

void OTCachedText::reset() { delete text_.exchange(nullptr, std::memory_order_acq_rel); }

}  // namespace corvane
