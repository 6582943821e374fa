#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTGeometry.h"

namespace corvane {

class OTViewController;

// Stateless helpers shared by the whole library: identity, date texts, base64 and MD5, JSON text,
// placeholders, link classification, a geometry test, the mail hand-off and an animated exit.
class OTUtils {
public:
    using Date = std::chrono::system_clock::time_point;

    // The keychain access group the device identifier is kept in.
    static constexpr const char* kKeychainAccessGroup = "com.corvane.ostrel";
    static constexpr const char* kUUIDItemIdentifier = "UUID";
    static constexpr const char* kDefaultDateFormat = "yyyy-MM-dd HH:mm:ss";

    static std::string getOSVersion();
    // The vendor identifier of the device as UUID text.
    static std::string getUUID();
    // Keeps the device identifier in the keychain item "UUID" unless one is there already.
    static void saveUUIDWithKeyChain();
    static std::optional<std::string> getUUIDWithKeychain();
    // The advertising identifier, only when the user has authorised tracking.
    static std::optional<std::string> getIDFA();
    static std::string getAppBundleId();

    // Texts "yyyy-MM-dd HH:mm:ss" (or `format`) in the device's time zone. An absent or empty text
    // gives the current date; a text that does not parse gives nothing.
    static std::optional<Date> dateFromString(const std::optional<std::string>& text);
    static std::optional<Date> dateFromString(const std::optional<std::string>& text,
                                              const std::optional<std::string>& format);
    static std::optional<std::string> stringFromDate(const std::optional<Date>& date);
    static std::optional<std::string> stringFromDate(const std::optional<Date>& date,
                                                     const std::optional<std::string>& format);
    // 1 when the first instant is later, -1 when earlier, 0 when equal (or either is absent).
    static int compareOneDay(const std::optional<Date>& date1, const std::optional<Date>& date2);
    static bool isSameDay(const std::optional<Date>& date1, const std::optional<Date>& date2);
    // The hour of day only: the calendar day is not compared.
    static bool isSameHour(const std::optional<Date>& date1, const std::optional<Date>& date2);
    // The minute of the hour only.
    static bool isSameMinute(const std::optional<Date>& date1, const std::optional<Date>& date2);
    // The second of the minute only.
    static bool isSameSecond(const std::optional<Date>& date1, const std::optional<Date>& date2);

    static std::optional<std::string> base64Encode(const std::optional<std::string>& text);
    // Ignores characters outside the base64 alphabet; the bytes must be UTF-8 text.
    static std::optional<std::string> base64Decode(const std::optional<std::string>& text);
    // 32 upper-case hexadecimal digits.
    static std::optional<std::string> md5(const std::optional<std::string>& text);
    static std::optional<std::string> arrayOrDicToJsonString(const nlohmann::json& value);
    static std::optional<std::string> ot_dictionaryToJson(const nlohmann::json& dictionary);
    // Every "${name}" of the text, in order, braces included.
    static std::vector<std::string> getStringInBracesWithString(const std::optional<std::string>& text);
    // A web address, or the name of one of the host app's page classes.
    static bool isUniversalLink(const std::optional<std::string>& text);
    // Within the circle inscribed in `rect` (radius half its width).
    static bool point(OTPoint point, OTRect inCircleRect);

    static void sendEmailTo(const std::string& address, const std::string& subject,
                            const std::vector<std::vector<std::uint8_t>>& attachmentDatas,
                            const std::vector<std::string>& attachmentFileNames,
                            const std::shared_ptr<OTViewController>& fromController);
    // Shrinks the key window to nothing over 0.3 s, then ends the process.
    static void exitWithAnimation();

private:
    // The time fields of "yyyy-MM-dd HH:mm:ss" at `index` (0 hour, 1 minute, 2 second) agree.
    static bool sameTimeField(const std::optional<Date>& date1, const std::optional<Date>& date2, std::size_t index);
};

}  // namespace corvane
