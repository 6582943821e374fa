#pragma once

#include <atomic>
#include <string>

namespace corvane {

// A text worked out from an object's fields once and kept until a field changes: the object's
// setters call `reset`. Readers on several threads share one text without a lock, as every
// campaign's description is read once per event walked past it. Like the fields themselves, the
// text may only be reset while nobody else reads the object; a copied object starts with nothing
// kept, since its fields may change before it is described.
class OTCachedText {
public:
    OTCachedText() = default;
    OTCachedText(const OTCachedText&) {}
    OTCachedText& operator=(const OTCachedText&);
    ~OTCachedText();

    // The kept text, made by `make` when there is none; it stays until `reset`.
    template <class Make>
    const std::string& get(Make&& make) const {
        if (const auto* text = text_.load(std::memory_order_acquire)) return *text;
        return keep(std::string(make()));
    }
    void reset();

private:
    // Keeps `made` unless another thread kept its own first; gives back what is kept.
    const std::string& keep(std::string made) const;

    mutable std::atomic<const std::string*> text_{nullptr};
};

}  // namespace corvane
