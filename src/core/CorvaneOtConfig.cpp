#include "corvane/CorvaneOtConfig.h"

#include <nlohmann/json.hpp>

#include "platform/OTEnvironment.h"
#include "platform/OTUserShare.h"

namespace {
// Blanks and line breaks, ASCII and Unicode, as trimmed at the ends of a URL.
std::size_t blankLength(const std::string& text, std::size_t at, bool backwards) {
    static const char* const kUnicodeBlanks[] = {
        "\xC2\x85", "\xC2\xA0", "\xE1\x9A\x80", "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82", "\xE2\x80\x83",
        "\xE2\x80\x84", "\xE2\x80\x85", "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88", "\xE2\x80\x89",
        "\xE2\x80\x8A", "\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\x9F", "\xE3\x80\x80"};
    const auto c = static_cast<unsigned char>(backwards ? text[at - 1] : text[at]);
    if (c == ' ' || (c >= '\t' && c <= '\r')) return 1;
    for (const char* blank : kUnicodeBlanks) {
        const std::string_view b(blank);
        if (backwards ? (at >= b.size() && text.compare(at - b.size(), b.size(), b) == 0)
                      : text.compare(at, b.size(), b) == 0) {
            return b.size();
        }
    }
    return 0;
}

std::string trimmed(const std::string& text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end) {
        const std::size_t n = blankLength(text, begin, false);
        if (n == 0) break;
        begin += n;
    }
    while (end > begin) {
        const std::size_t n = blankLength(text, end, true);
        if (n == 0) break;
        end -= n;
    }
    return text.substr(begin, end - begin);
}
}  // namespace

std::shared_ptr<CorvaneOtConfig> CorvaneOtConfig::defaultConfig() {
    return OTEnvironment::current()->singleton<CorvaneOtConfig>([] { return std::make_shared<CorvaneOtConfig>(); });
}

std::uint64_t CorvaneOtConfig::envType() const {
    envType_ = static_cast<std::uint64_t>(OTUserShare::share()->integerForKey(kEnvKey, domain()));
    return envType_;
}

void CorvaneOtConfig::setEnvType(std::uint64_t value) {
    envType_ = value;
    OTUserShare::share()->setInteger(static_cast<std::int64_t>(value), kEnvKey, domain());
}

void CorvaneOtConfig::setApplicationGroupIdentifier(std::optional<std::string> value) {
    applicationGroupIdentifier_ = std::move(value);
    setEnvType(envType_);
}

std::optional<std::string> CorvaneOtConfig::url() const {
    return OTUserShare::share()->stringForKey(kUrlKey, domain());
}

void CorvaneOtConfig::setUrl(const std::optional<std::string>& value) {
    if (!value || value->empty()) return;
    std::string cleaned = trimmed(*value);
    if (!cleaned.empty() && cleaned.back() == '/') cleaned.pop_back();
    url_ = cleaned;
    OTUserShare::share()->setObject(cleaned, kUrlKey, domain());
}
