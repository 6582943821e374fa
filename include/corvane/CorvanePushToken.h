#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "corvane/corvane_export.h"

namespace corvane {

/// A push address as the host received it: the raw device-token bytes that the system hands to
/// the app delegate (Apple push), or a registration id text (JPush). Default-constructed it holds
/// nothing. The kind is kept as given so that a token of the wrong kind can be refused.
///
///   CorvaneOtManager::pushToken(CorvanePushToken(bytes, length), "group.com.example.app");
///   CorvaneOtManager::pushToken(registrationId, 1, "group.com.example.app");
class CORVANE_EXPORT CorvanePushToken {
public:
    CorvanePushToken() = default;
    /// Implicit on purpose: a host passes its bytes or its text as it has them.
    CorvanePushToken(std::vector<std::uint8_t> bytes) : value_(std::move(bytes)) {}
    /// A registration id text.
    CorvanePushToken(std::string text) : value_(std::move(text)) {}
    /// A null pointer holds nothing.
    CorvanePushToken(const char* text);
    /// A copy of `length` bytes (none when `bytes` is null).
    CorvanePushToken(const void* bytes, std::size_t length);

    /// Whether it holds bytes (Apple push).
    bool isBytes() const { return std::holds_alternative<std::vector<std::uint8_t>>(value_); }
    /// Whether it holds a text (JPush).
    bool isText() const { return std::holds_alternative<std::string>(value_); }
    /// The bytes or the text; empty when the token is of the other kind.
    ///@{
    const std::vector<std::uint8_t>& bytes() const;
    const std::string& text() const;
    ///@}

private:
    std::variant<std::monostate, std::vector<std::uint8_t>, std::string> value_;
};

}  // namespace corvane
