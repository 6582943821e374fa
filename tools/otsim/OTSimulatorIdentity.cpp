#include "OTSimulatorIdentity.h"

#include "OTScenarioAction.h"
#include "corvane/CorvaneOtManager.h"
#include "render/OTHeadlessUIHost.h"

namespace corvane {

using nlohmann::json;

namespace {
std::optional<std::string> optionalText(const OTScenarioAction& action, const char* key) {
    const auto& value = action.value(key);
    return value.is_string() ? std::optional<std::string>(value.get<std::string>()) : std::nullopt;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}
}  // namespace

std::optional<std::vector<std::uint8_t>> OTSimulatorIdentity::bytesFromHex(const std::string& hex) {
    if (hex.size() % 2 != 0) return std::nullopt;
    std::vector<std::uint8_t> bytes;
    bytes.reserve(hex.size() / 2);
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const int high = hexDigit(hex[i]);
        const int low = hexDigit(hex[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
    }
    return bytes;
}

void OTSimulatorIdentity::pushToken(const OTScenarioAction& action, const std::string& group, const Error& error) {
    CorvanePushToken token;
    if (action.has("hex")) {
        auto bytes = bytesFromHex(action.text("hex", ""));
        if (!bytes) return error("\"hex\" must be pairs of hexadecimal digits");
        token = CorvanePushToken(std::move(*bytes));
    } else if (action.has("text")) {
        token = CorvanePushToken(action.text("text", ""));
    }
    const auto provider = static_cast<std::uint64_t>(action.integer("provider", 0));
    CorvaneOtManager::pushToken(token, provider, action.text("group", group));
}

void OTSimulatorIdentity::weChat(const OTScenarioAction& action) {
    CorvaneOtManager::setWeChatId(optionalText(action, "unionId"), optionalText(action, "appId"),
                                  optionalText(action, "openId"));
}

void OTSimulatorIdentity::mailLogs(const OTScenarioAction& action) {
    CorvaneOtManager::sendLogToEmail(action.text("to", ""));
}

void OTSimulatorIdentity::collect(const OTHeadlessUIHost& host) {
    const auto mails = host.mails();
    for (; seenMails_ < mails.size(); ++seenMails_) {
        const auto& mail = mails[seenMails_];
        json attachments = json::array();
        for (const auto& attachment : mail.attachments) attachments.push_back(attachment.fileName);
        observe_({{"type", "mail"},
                  {"to", mail.recipients.empty() ? json() : json(mail.recipients.front())},
                  {"subject", mail.subject},
                  {"attachments", attachments}});
    }
}

bool OTSimulatorIdentity::print(std::ostream& out, const std::string& at, const json& o) {
    if (o.value("type", "") != "mail") return false;
    out << at << "  mail to " << (o["to"].is_string() ? o["to"].get<std::string>() : "?") << ": "
        << o["subject"].get<std::string>() << "\n";
    for (const auto& name : o["attachments"]) out << "           attached " << name.get<std::string>() << "\n";
    return true;
}

}  // namespace corvane
