#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace corvane {

// A text worked out from an object's fields once and kept until a field changes: the object's
// setters call `reset`. Readers on several threads share one text; a copied object starts with
// nothing kept, since its fields may change before it is described.
class OTCachedText {
public:
    OTCachedText() = default;
    OTCachedText(const OTCachedText&) {}
    OTCachedText& operator=(const OTCachedText&);

    // The kept text, made by `make` when there is none.
    std::shared_ptr<const std::string> get(const std::function<std::string()>& make) const;
    void reset();

private:
    mutable std::mutex mutex_;
    mutable std::shared_ptr<const std::string> text_;
};

}  // namespace corvane
