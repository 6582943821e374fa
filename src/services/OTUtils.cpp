#include "services/OTUtils.h"

#include <openssl/evp.h>

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "foundation/OTDateFormatter.h"
#include "foundation/OTJSONWriter.h"
#include "foundation/OTLogFormatter.h"
#include "platform/OTEnvironment.h"
#include "platform/OTPageClassRegistry.h"
#include "services/OTKeychainItemWrapper.h"
#include "services/OTLogger.h"
#include "services/OTUserShare.h"

namespace corvane {

namespace {
constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int base64Value(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}

bool isUtf8(const std::string& bytes) {
    try {
        (void)nlohmann::json(bytes).dump();
        return true;
    } catch (const nlohmann::json::exception&) {
        return false;
    }
}

std::chrono::seconds offsetAt(OTUtils::Date when) { return OTEnvironment::current()->clock().utcOffset(when); }

std::string formatLocal(OTUtils::Date when, std::string_view pattern) {
    return OTDateFormatter::format(when, pattern, offsetAt(when));
}
}  // namespace

std::string OTUtils::getOSVersion() { return OTEnvironment::current()->device().systemVersion; }

std::string OTUtils::getUUID() { return OTEnvironment::current()->device().identifierForVendor; }

void OTUtils::saveUUIDWithKeyChain() {
    OTKeychainItemWrapper wrapper(kUUIDItemIdentifier, std::string(kKeychainAccessGroup));
    const auto stored = wrapper.objectForKey(OTKeychainStore::kValueData);
    const bool empty = !stored || stored->is_null() ||
                       (stored->is_string() && stored->get_ref<const std::string&>().empty()) ||
                       (stored->is_structured() && stored->empty());
    if (empty) wrapper.setObject(getUUID(), OTKeychainStore::kValueData);
}

std::optional<std::string> OTUtils::getUUIDWithKeychain() {
    OTKeychainItemWrapper wrapper(kUUIDItemIdentifier, std::string(kKeychainAccessGroup));
    const auto stored = wrapper.objectForKey(OTKeychainStore::kValueData);
    if (!stored || !stored->is_string()) return std::nullopt;
    return stored->get<std::string>();
}

std::optional<std::string> OTUtils::getIDFA() {
    const auto& device = OTEnvironment::current()->device();
    if (!device.trackingAuthorized) return std::nullopt;
    return device.advertisingIdentifier;
}

std::string OTUtils::getAppBundleId() { return OTEnvironment::current()->device().bundleIdentifier; }

std::optional<OTUtils::Date> OTUtils::dateFromString(const std::optional<std::string>& text) {
    return dateFromString(text, std::string(kDefaultDateFormat));
}

std::optional<OTUtils::Date> OTUtils::dateFromString(const std::optional<std::string>& text,
                                                     const std::optional<std::string>& format) {
    if (!text || text->empty()) return OTEnvironment::current()->clock().now();
    const std::string pattern = format && !format->empty() ? *format : kDefaultDateFormat;
    return OTDateFormatter::parse(*text, pattern, offsetAt);
}

std::optional<std::string> OTUtils::stringFromDate(const std::optional<Date>& date) {
    return stringFromDate(date, std::string(kDefaultDateFormat));
}

std::optional<std::string> OTUtils::stringFromDate(const std::optional<Date>& date,
                                                   const std::optional<std::string>& format) {
    if (!date) return std::nullopt;
    return formatLocal(*date, format && !format->empty() ? *format : kDefaultDateFormat);
}

int OTUtils::compareOneDay(const std::optional<Date>& date1, const std::optional<Date>& date2) {
    const OTLogArgument arguments[] = {date1 ? OTLogArgument(*date1) : OTLogArgument(nullptr),
                                       date2 ? OTLogArgument(*date2) : OTLogArgument(nullptr)};
    OTEnvironment::current()->console().print(OTLogFormatter::format("date1 : %@, date2 : %@", arguments));
    if (!date1 || !date2) return 0;
    if (*date1 > *date2) return 1;
    if (*date1 < *date2) return -1;
    return 0;
}

bool OTUtils::isSameDay(const std::optional<Date>& date1, const std::optional<Date>& date2) {
    if (!date1 || !date2) return false;
    return formatLocal(*date1, "yyyy-MM-dd") == formatLocal(*date2, "yyyy-MM-dd");
}

bool OTUtils::sameTimeField(const std::optional<Date>& date1, const std::optional<Date>& date2, std::size_t index) {
    if (!date1 || !date2) return false;
    // "yyyy-MM-dd HH:mm:ss": the time part starts at 11, its fields are two digits apart by three.
    const std::size_t at = 11 + index * 3;
    return formatLocal(*date1, kDefaultDateFormat).substr(at, 2) ==
           formatLocal(*date2, kDefaultDateFormat).substr(at, 2);
}

bool OTUtils::isSameHour(const std::optional<Date>& date1, const std::optional<Date>& date2) {
    return sameTimeField(date1, date2, 0);
}

bool OTUtils::isSameMinute(const std::optional<Date>& date1, const std::optional<Date>& date2) {
    return sameTimeField(date1, date2, 1);
}

bool OTUtils::isSameSecond(const std::optional<Date>& date1, const std::optional<Date>& date2) {
    return sameTimeField(date1, date2, 2);
}

std::optional<std::string> OTUtils::base64Encode(const std::optional<std::string>& text) {
    if (!text || text->empty()) return std::nullopt;
    std::string out;
    out.reserve((text->size() + 2) / 3 * 4);
    const auto* bytes = reinterpret_cast<const unsigned char*>(text->data());
    std::size_t i = 0;
    for (; i + 3 <= text->size(); i += 3) {
        const std::uint32_t v = (bytes[i] << 16) | (bytes[i + 1] << 8) | bytes[i + 2];
        out += kBase64Alphabet[(v >> 18) & 63];
        out += kBase64Alphabet[(v >> 12) & 63];
        out += kBase64Alphabet[(v >> 6) & 63];
        out += kBase64Alphabet[v & 63];
    }
    const std::size_t rest = text->size() - i;
    if (rest > 0) {
        std::uint32_t v = bytes[i] << 16;
        if (rest == 2) v |= bytes[i + 1] << 8;
        out += kBase64Alphabet[(v >> 18) & 63];
        out += kBase64Alphabet[(v >> 12) & 63];
        out += rest == 2 ? kBase64Alphabet[(v >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

std::optional<std::string> OTUtils::base64Decode(const std::optional<std::string>& text) {
    if (!text || text->empty()) return std::nullopt;
    std::string symbols;
    for (char c : *text) {
        if (base64Value(c) >= 0 || c == '=') symbols += c;
    }
    const std::size_t lastSymbol = symbols.find_last_not_of('=');
    if (lastSymbol == std::string::npos || symbols.size() % 4 != 0) return std::nullopt;
    const std::size_t padding = symbols.size() - lastSymbol - 1;
    if (padding > 2 || symbols.find('=') < symbols.size() - padding) return std::nullopt;
    std::string out;
    for (std::size_t i = 0; i < symbols.size(); i += 4) {
        std::uint32_t v = 0;
        int real = 0;
        for (std::size_t k = 0; k < 4; ++k) {
            const int d = base64Value(symbols[i + k]);
            v = (v << 6) | static_cast<std::uint32_t>(d < 0 ? 0 : d);
            if (d >= 0) ++real;
        }
        out += static_cast<char>((v >> 16) & 0xFF);
        if (real > 2) out += static_cast<char>((v >> 8) & 0xFF);
        if (real > 3) out += static_cast<char>(v & 0xFF);
    }
    if (!isUtf8(out)) return std::nullopt;
    return out;
}

std::optional<std::string> OTUtils::md5(const std::optional<std::string>& text) {
    if (!text || text->empty()) return std::nullopt;
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(text->data(), text->size(), digest, &length, EVP_md5(), nullptr) != 1) return std::nullopt;
    std::string out;
    char hex[3];
    for (unsigned int i = 0; i < length; ++i) {
        std::snprintf(hex, sizeof hex, "%02X", digest[i]);
        out += hex;
    }
    return out;
}

std::optional<std::string> OTUtils::arrayOrDicToJsonString(const nlohmann::json& value) {
    auto text = OTJSONWriter::prettyString(value);
    if (!text) OTLog(OTLogger::kLevelError, "data 转 json 失败！data : %@", value);
    return text;
}

std::optional<std::string> OTUtils::ot_dictionaryToJson(const nlohmann::json& dictionary) {
    return arrayOrDicToJsonString(dictionary);
}

std::vector<std::string> OTUtils::getStringInBracesWithString(const std::optional<std::string>& text) {
    std::vector<std::string> found;
    if (!text) return found;
    std::string copy = *text;
    for (std::size_t open = copy.find("${"); open != std::string::npos; open = copy.find("${")) {
        const std::size_t close = copy.find('}');
        // A "}" before the first "${", or none at all, ends the walk: there is no range to take.
        if (close == std::string::npos || close < open) break;
        found.push_back(copy.substr(open, close - open + 1));
        copy.erase(open, close - open + 1);
    }
    return found;
}

bool OTUtils::isUniversalLink(const std::optional<std::string>& text) {
    if (!text || text->empty()) return false;
    if (text->rfind("http://", 0) == 0 || text->rfind("https://", 0) == 0) return true;
    return OTPageClassRegistry::shared()->classExists(*text);
}

bool OTUtils::point(OTPoint point, OTRect inCircleRect) {
    const double r = inCircleRect.size.width / 2;
    const double dx = point.x - (inCircleRect.origin.x + r);
    const double dy = point.y - (inCircleRect.origin.y + r);
    return std::sqrt(dx * dx + dy * dy) <= r;
}

void OTUtils::sendEmailTo(const std::string& address, const std::string& subject,
                          const std::vector<std::vector<std::uint8_t>>& attachmentDatas,
                          const std::vector<std::string>& attachmentFileNames,
                          const std::shared_ptr<OTViewController>& fromController) {
    auto& host = OTEnvironment::current()->uiHost();
    if (!host.canSendMail()) {
        host.showMessage("请先打开系统“邮件”APP，添加邮箱账号");
        return;
    }
    OTUIHost::MailRequest request;
    request.subject = subject;
    request.recipients = {address};
    request.body = "请查收附件";
    for (std::size_t i = 0; i < attachmentDatas.size() && i < attachmentFileNames.size(); ++i) {
        request.attachments.push_back({attachmentDatas[i], attachmentFileNames[i]});
    }
    host.presentMailComposer(
        request, fromController, [](OTUIHost::MailResult result, const std::optional<std::string>& error) {
            auto environment = OTEnvironment::current();
            switch (result) {
                case OTUIHost::MailResult::Cancelled: environment->console().print("Mail send canceled..."); break;
                case OTUIHost::MailResult::Saved: environment->console().print("Mail saved..."); break;
                case OTUIHost::MailResult::Sent: environment->console().print("Mail sent..."); break;
                case OTUIHost::MailResult::Failed: {
                    const OTLogArgument arguments[] = {error};
                    environment->console().print(OTLogFormatter::format("Mail send errored: %@...", arguments));
                    break;
                }
            }
            environment->uiHost().dismissMailComposer();
        });
}

void OTUtils::exitWithAnimation() {
    auto environment = OTEnvironment::current();
    environment->uiHost().animateKeyWindowBounds(environment->device().screenWidth, 0, std::chrono::milliseconds(300),
                                                 [] { OTEnvironment::current()->uiHost().terminate(0); });
}

}  // namespace corvane
