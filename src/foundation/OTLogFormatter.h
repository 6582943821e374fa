#pragma once

#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace corvane {

template <class T>
concept OTDescribable = requires(const T& value) {
    { value.description() } -> std::convertible_to<std::string>;
};
// An object that keeps its description: a log line reads the kept text instead of copying it.
template <class T>
concept OTKeptDescribable = OTDescribable<T> && requires(const T& value) {
    { value.keptDescription() } -> std::same_as<const std::string&>;
};

// One argument of a log format. Whatever the caller passes is captured by kind, so a format and
// its arguments can never disagree in a way that crashes: a mismatch prints something readable.
class OTLogArgument {
public:
    OTLogArgument(std::nullptr_t) {}
    OTLogArgument(bool value) : value_(static_cast<std::int64_t>(value)) {}
    template <std::signed_integral T>
    OTLogArgument(T value) : value_(static_cast<std::int64_t>(value)) {}
    template <std::unsigned_integral T>
    requires(!std::same_as<T, bool>) OTLogArgument(T value) : value_(static_cast<std::uint64_t>(value)) {}
    template <std::floating_point T>
    OTLogArgument(T value) : value_(static_cast<double>(value)) {}
    OTLogArgument(const char* value) {
        if (value != nullptr) value_ = std::string_view(value);
    }
    OTLogArgument(std::string_view value) : value_(value) {}
    // Named strings are viewed (they outlive the call); temporaries are kept.
    OTLogArgument(const std::string& value) : value_(std::string_view(value)) {}
    OTLogArgument(std::string&& value) : value_(std::move(value)) {}
    OTLogArgument(const std::optional<std::string>& value) {
        if (value) value_ = std::string_view(*value);
    }
    OTLogArgument(std::optional<std::string>&& value) {
        if (value) value_ = std::move(*value);
    }
    // A kept text, shared rather than copied.
    OTLogArgument(std::shared_ptr<const std::string> value) {
        if (value) value_ = std::move(value);
    }
    OTLogArgument(const nlohmann::json& value);
    // An absent value prints as nil does; a present JSON null as the platform's null object.
    OTLogArgument(const std::optional<nlohmann::json>& value) : OTLogArgument(nullptr) {
        if (value) *this = OTLogArgument(*value);
    }
    OTLogArgument(std::chrono::system_clock::time_point value);
    template <OTDescribable T>
    OTLogArgument(const T& value) {
        if constexpr (OTKeptDescribable<T>) value_ = std::string_view(value.keptDescription());
        else value_ = std::string(value.description());
    }
    template <OTDescribable T>
    OTLogArgument(const std::shared_ptr<T>& value) {
        if (value) *this = OTLogArgument(*value);
    }

    // A JSON value is described up to this many bytes: no log message keeps more.
    static constexpr std::size_t kMaxDescribedBytes = std::size_t{256} * 1024 + 4;

    bool isNull() const { return std::holds_alternative<std::monostate>(value_); }
    // How many bytes of the description were left out at kMaxDescribedBytes.
    std::size_t omitted() const { return omitted_; }
    // The object description `%@` prints.
    std::string description() const;
    std::optional<std::int64_t> asSigned() const;
    std::optional<double> asReal() const;
    // The text of a text argument.
    std::optional<std::string_view> asText() const;

private:
    std::variant<std::monostate, std::int64_t, std::uint64_t, double, std::string_view, std::string,
                 std::shared_ptr<const std::string>>
        value_;
    std::size_t omitted_ = 0;
};

// The logger's printf-like formatter: %@ (description), %d %i %u %x %X %o %c with the h, hh, l,
// ll, q, z and j lengths, %f %e %g %a, %s, %p and %%, with flags, width and precision (also *).
// Missing arguments print "(null)"; unknown conversions are copied as they stand.
class OTLogFormatter {
public:
    static std::string format(std::string_view format, std::span<const OTLogArgument> arguments);
    // Formats onto the end of `out`.
    static void append(std::string& out, std::string_view format, std::span<const OTLogArgument> arguments);
    static constexpr int kMaxWidth = 4096;
};

}  // namespace corvane
