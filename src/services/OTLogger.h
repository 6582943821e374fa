#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/OTLocked.h"
#include "foundation/OTLogFormatter.h"

namespace corvane {

class OTEnvironment;
class OTDispatchQueue;

// The library's diagnostic sink. Every message goes to the run's log file in "OT_Log" (written on
// the "com.OT.userlog" queue); the console also shows it, framed by a banner, when the configured
// level lets it through. Logging never throws.
class OTLogger {
public:
    static constexpr std::int64_t kLevelDebug = 0;
    static constexpr std::int64_t kLevelLog = 3;
    static constexpr std::int64_t kLevelWarn = 4;
    static constexpr std::int64_t kLevelError = 5;
    static constexpr std::int64_t kLevelData = 6;
    static constexpr const char* kQueueLabel = "com.OT.userlog";
    static constexpr const char* kFolderName = "OT_Log";

    explicit OTLogger(OTEnvironment& environment);
    ~OTLogger();
    OTLogger(const OTLogger&) = delete;
    OTLogger& operator=(const OTLogger&) = delete;

    static std::shared_ptr<OTLogger> getInstance();
    static void configLogLevel(std::int64_t level);

    // The run's log file stops growing at a cap, after one line saying so: an active hour of a
    // large campaign list can otherwise write gigabytes. 0 restores the default.
    static constexpr std::uint64_t kDefaultMaxFileBytes = std::uint64_t{64} << 20;
    void setMaxFileBytes(std::uint64_t bytes);

    // `function` is the caller's full name behind a one-character kind marker ("-[Class operation]");
    // the OTLog macro supplies it.
    template <class... Args>
    static void log(std::int64_t level, const char* function, const char* format, const Args&... args) noexcept {
        try {
            const OTLogArgument arguments[] = {OTLogArgument(args)..., OTLogArgument(nullptr)};
            logWithArguments(level, function, format, std::span<const OTLogArgument>(arguments, sizeof...(Args)));
        } catch (...) {}
    }
    static void logWithArguments(std::int64_t level, const char* function, const char* format,
                                 std::span<const OTLogArgument> arguments) noexcept;

    // A message formatted now and logged later, when what it describes may be gone: a list answer
    // is described before its records are taken out of it, and logged after they are handled.
    struct Prepared {
        std::int64_t level = kLevelDebug;
        const char* function = "";
        std::optional<std::string> message;  // nothing when formatting failed
    };
    template <class... Args>
    static Prepared prepare(std::int64_t level, const char* function, const char* format,
                            const Args&... args) noexcept {
        Prepared prepared{level, function, std::nullopt};
        try {
            const OTLogArgument arguments[] = {OTLogArgument(args)..., OTLogArgument(nullptr)};
            prepared.message = formatted(format, std::span<const OTLogArgument>(arguments, sizeof...(Args)));
        } catch (...) {}
        return prepared;
    }
    // Logs a prepared message exactly as the call that prepared it would have.
    static void log(const Prepared& prepared) noexcept;
    // Runs a callback of the library's on a thread it does not own (an HTTP transport's): whatever
    // it throws is logged as "请求回调异常：…" and goes no further.
    static void guarded(const std::function<void()>& callback) noexcept;

    // Prints the console banner of one message.
    void log(const std::string& message, std::int64_t level, const char* function);
    // Appends one timestamped line to the log file.
    void _log(const std::string& message);
    std::string descriptionForLevel(std::int64_t level) const;
    // Deletes the first of the ".log" files under `directory` when there are three or more.
    void handleFilesOfDirectory(const std::filesystem::path& directory);
    // The ".log" files under `directory`, walked depth first with each folder's entries sorted by
    // name: the dated file names put the oldest first.
    static std::vector<std::filesystem::path> logFilesOfDirectory(const std::filesystem::path& directory);

    // Hears every message, whatever the console level, on the thread that logs it. For tools that
    // show the library's reasoning; one listener at a time, none to stop.
    using Listener = std::function<void(std::int64_t level, const std::string& message)>;
    void setListener(Listener listener);

    std::int64_t logLevel() const { return logLevel_.load(); }
    void setLogLevel(std::int64_t level) { logLevel_.store(level); }
    const std::filesystem::path& logFilePath() const { return _logFilePath; }

    // Whether a message of level `message` reaches the console under configured level `configured`.
    static bool shouldPrint(std::int64_t configured, std::int64_t message);
    // A server answer can be megabytes: one message keeps its first 256 KiB.
    static constexpr std::size_t kMaxMessageBytes = std::size_t{256} * 1024;
    static std::string capped(std::string message);
    // Caps the message that starts at `from` in `text` as `capped` does, counting `omitted` bytes
    // its described values left out among the dropped; whether it was cut.
    static bool capFrom(std::string& text, std::size_t from, std::size_t omitted);
    // "-[Class operation]" from a compiler's pretty function name.
    static std::string functionName(const char* prettyFunction);

private:
    class FileSink;
    void write(std::initializer_list<std::string_view> pieces);
    void flushLater();
    // The time a file line starts with.
    std::string stamp() const;
    static std::string formatted(const char* format, std::span<const OTLogArgument> arguments);
    // A formatted message to the console (when its level shows), the file and the listener.
    void deliver(std::int64_t level, const char* function, const std::string& message);

    OTEnvironment& environment_;
    std::shared_ptr<OTDispatchQueue> queue_;
    std::shared_ptr<FileSink> _fileHandler;
    std::filesystem::path _logFilePath;
    std::atomic<std::int64_t> logLevel_{0};
    OTLocked<std::shared_ptr<const Listener>> listener_;
    // Whether there is a listener, read without the lock: most messages are heard by nobody.
    std::atomic<bool> listening_{false};
};

// Logs with the calling function's name: OTLog(OTLogger::kLevelError, "下载失败: %@", error).
#define OTLog(level, ...)                                                                                             \
    ::corvane::OTLogger::log((level),                                                                                 \
                             [](const char* pretty) {                                                                 \
                                 static const std::string otFunctionName = ::corvane::OTLogger::functionName(pretty); \
                                 return otFunctionName.c_str();                                                       \
                             }(__PRETTY_FUNCTION__),                                                                  \
                             __VA_ARGS__)

// Formats now, with the calling function's name, for OTLogger::log(const Prepared&) to log later.
#define OTPrepareLog(level, ...)                                                    \
    ::corvane::OTLogger::prepare((level),                                           \
                                 [](const char* pretty) {                           \
                                     static const std::string otFunctionName =      \
                                         ::corvane::OTLogger::functionName(pretty); \
                                     return otFunctionName.c_str();                 \
                                 }(__PRETTY_FUNCTION__),                            \
                                 __VA_ARGS__)

}  // namespace corvane
