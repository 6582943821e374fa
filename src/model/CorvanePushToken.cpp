#include "corvane/CorvanePushToken.h"

namespace corvane {

CorvanePushToken::CorvanePushToken(const void* bytes, std::size_t length) {
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    value_ = first == nullptr ? std::vector<std::uint8_t>{} : std::vector<std::uint8_t>(first, first + length);
}

CorvanePushToken::CorvanePushToken(const char* text) {
    if (text != nullptr) value_ = std::string(text);
}

const std::vector<std::uint8_t>& CorvanePushToken::bytes() const {
    static const std::vector<std::uint8_t> kNone;
    const auto* held = std::get_if<std::vector<std::uint8_t>>(&value_);
    return held != nullptr ? *held : kNone;
}

const std::string& CorvanePushToken::text() const {
    static const std::string kNone;
    const auto* held = std::get_if<std::string>(&value_);
    return held != nullptr ? *held : kNone;
}

}  // namespace corvane
