#include "services/OTLogger.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <mutex>
#include <system_error>
#include <vector>

#include "foundation/OTDateFormatter.h"
#include "foundation/OTFiles.h"
#include "platform/OTEnvironment.h"

namespace corvane {

namespace fs = std::filesystem;

namespace {
static_assert(OTLogger::kMaxMessageBytes < OTLogArgument::kMaxDescribedBytes,
              "a described value must reach past the message's cap for the cut to count its bytes");

// The bytes the arguments' descriptions left out, which the cut message counts as dropped.
std::size_t omittedBy(std::span<const OTLogArgument> arguments) {
    std::size_t omitted = 0;
    for (const auto& argument : arguments) omitted += argument.omitted();
    return omitted;
}
}  // namespace

// The open log file and the lines waiting for it; shared with the queued write so that it
// finishes even after the logger goes. Lines gather while a write is pending and go to the file
// together, in the order they were logged, one system call per 64 KiB.
class OTLogger::FileSink {
public:
    // Readable by the user only: lines may carry tokens and user ids.
    explicit FileSink(const fs::path& path)
        : fd_(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, OTFiles::kFileMode)) {}
    ~FileSink() {
        if (fd_ >= 0) ::close(fd_);
    }
    FileSink(const FileSink&) = delete;
    FileSink& operator=(const FileSink&) = delete;

    // Whether the bytes started a new batch, which then needs a write queued. Past the run's cap
    // one line says so and nothing more is kept.
    bool append(std::initializer_list<std::string_view> pieces) {
        std::lock_guard lock(mutex_);
        if (capped_) return false;
        const bool first = chunks_.empty();
        std::size_t size = 0;
        for (const auto piece : pieces) size += piece.size();
        auto& chunk = roomFor(size);
        const std::size_t start = chunk.size();
        for (const auto piece : pieces) chunk.append(piece);
        land(chunk, start);
        return first;
    }

    // One line whose message is formatted straight into the batch, never a string of its own.
    bool appendFormatted(std::string_view stamp, std::string_view format, std::span<const OTLogArgument> arguments) {
        std::lock_guard lock(mutex_);
        if (capped_) return false;
        const bool first = chunks_.empty();
        auto& chunk = roomFor(stamp.size() + 3 + estimatedSize(format, arguments));
        const std::size_t start = chunk.size();
        chunk.append(stamp).append("  ");
        const std::size_t message = chunk.size();
        OTLogFormatter::append(chunk, format, arguments);
        capFrom(chunk, message, omittedBy(arguments));
        chunk += '\n';
        land(chunk, start);
        return first;
    }

    void setLimit(std::uint64_t bytes) {
        std::lock_guard lock(mutex_);
        limit_ = bytes;
    }

    void flush() {
        std::vector<std::string> batch;
        {
            std::lock_guard lock(mutex_);
            batch.swap(chunks_);
        }
        for (const auto& chunk : batch) {
            if (!writeAll(chunk)) return;
        }
    }

private:
    static constexpr std::size_t kChunkBytes = std::size_t{64} * 1024;

    // The chunk that takes `size` more bytes. Chunks have a fixed size, so a long batch never
    // moves what it already holds.
    std::string& roomFor(std::size_t size) {
        if (chunks_.empty() || chunks_.back().size() + size > chunks_.back().capacity()) {
            chunks_.emplace_back().reserve(std::max(size, kChunkBytes));
        }
        return chunks_.back();
    }

    // Keeps the line written into `chunk` from `start` when it fits under the run's cap; else takes
    // it back and writes the cap's note instead.
    void land(std::string& chunk, std::size_t start) {
        const std::size_t size = chunk.size() - start;
        if (accepted_ + size <= limit_) {
            accepted_ += size;
            return;
        }
        chunk.resize(start);
        reachCap();
    }

    void reachCap() {
        capped_ = true;
        const std::string note = "日志文件已达本次运行的上限 " + std::to_string(limit_) + " 字节，后续日志不再写入\n";
        roomFor(note.size()).append(note);
    }

    // What a formatted message is likely to take: its texts as they stand, numbers at most 24.
    static std::size_t estimatedSize(std::string_view format, std::span<const OTLogArgument> arguments) {
        std::size_t size = format.size();
        for (const auto& argument : arguments) {
            const auto text = argument.asText();
            size += text ? text->size() : 24;
        }
        return size;
    }

    // A full disk or a closed file loses the batch: logging never blocks or throws.
    bool writeAll(std::string_view bytes) const {
        while (fd_ >= 0 && !bytes.empty()) {
            const auto n = ::write(fd_, bytes.data(), bytes.size());
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return false;
            bytes.remove_prefix(static_cast<std::size_t>(n));
        }
        return fd_ >= 0;
    }

    int fd_;
    std::mutex mutex_;
    std::vector<std::string> chunks_;
    std::uint64_t accepted_ = 0;
    std::uint64_t limit_ = kDefaultMaxFileBytes;
    bool capped_ = false;
};

OTLogger::OTLogger(OTEnvironment& environment) : environment_(environment), queue_(environment.queue(kQueueLabel)) {
    const fs::path folder = environment.sandbox().documentsDirectory() / kFolderName;
    OTFiles::createPrivateDirectories(folder);
    handleFilesOfDirectory(folder);

    const auto now = environment.clock().now();
    const std::string stamp = OTDateFormatter::dateTime(now, environment.clock().utcOffset(now));
    _logFilePath = folder / ("otsdk_" + stamp + ".log");
    _fileHandler = std::make_shared<FileSink>(_logFilePath);

    const auto& device = environment.device();
    const OTLogArgument header[] = {device.machine, device.systemVersion, device.bundleShortVersion};
    write({OTLogFormatter::format("设备名称:%@\n手机系统版本:%@\n应用版本号:%@\n\n", header)});
}

OTLogger::~OTLogger() = default;

std::shared_ptr<OTLogger> OTLogger::getInstance() {
    // Every message asks for the logger. A thread keeps the one it found for as long as the same
    // environment is installed, instead of taking two locks per message to look it up again.
    struct Found {
        std::uint64_t serial = 0;
        std::weak_ptr<OTLogger> logger;
    };
    thread_local Found found;
    if (const auto serial = OTEnvironment::installedSerial(); serial != 0 && serial == found.serial) {
        if (auto logger = found.logger.lock()) return logger;
    }
    auto environment = OTEnvironment::current();
    auto logger = environment->singleton<OTLogger>([&] { return std::make_shared<OTLogger>(*environment); });
    found = {environment->serial(), logger};
    return logger;
}

void OTLogger::configLogLevel(std::int64_t level) { getInstance()->setLogLevel(level); }

void OTLogger::setMaxFileBytes(std::uint64_t bytes) {
    _fileHandler->setLimit(bytes == 0 ? kDefaultMaxFileBytes : bytes);
}

void OTLogger::logWithArguments(std::int64_t level, const char* function, const char* format,
                                std::span<const OTLogArgument> arguments) noexcept {
    try {
        const auto logger = getInstance();
        // Most messages are read by nobody but the file: those are formatted straight into it.
        if (!logger->listening_.load(std::memory_order_acquire) && !shouldPrint(logger->logLevel(), level)) {
            if (logger->_fileHandler->appendFormatted(logger->stamp(), format != nullptr ? format : "", arguments)) {
                logger->flushLater();
            }
            return;
        }
        logger->deliver(level, function, formatted(format, arguments));
    } catch (...) {}
}

void OTLogger::log(const Prepared& prepared) noexcept {
    try {
        if (prepared.message) getInstance()->deliver(prepared.level, prepared.function, *prepared.message);
    } catch (...) {}
}

void OTLogger::guarded(const std::function<void()>& callback) noexcept {
    try {
        callback();
    } catch (const std::exception& error) {
        OTLog(kLevelError, "请求回调异常：%@", error.what());
    } catch (...) {
        OTLog(kLevelError, "请求回调异常：%@", "unknown");
    }
}

std::string OTLogger::formatted(const char* format, std::span<const OTLogArgument> arguments) {
    auto message = OTLogFormatter::format(format != nullptr ? format : "", arguments);
    if (capFrom(message, 0, omittedBy(arguments))) message.shrink_to_fit();
    return message;
}

void OTLogger::deliver(std::int64_t level, const char* function, const std::string& message) {
    if (shouldPrint(logLevel(), level)) log(message, level, function);
    _log(message);
    if (!listening_.load(std::memory_order_acquire)) return;
    if (const auto listener = listener_.get()) (*listener)(level, message);
}

std::string OTLogger::capped(std::string message) {
    capFrom(message, 0, 0);
    return message;
}

bool OTLogger::capFrom(std::string& text, std::size_t from, std::size_t omitted) {
    if (text.size() - from <= kMaxMessageBytes) return false;
    std::size_t cut = from + kMaxMessageBytes;
    // Never split a UTF-8 sequence: back up to the start of the character.
    while (cut > from && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
    const auto dropped = text.size() - cut + omitted;
    text.resize(cut);
    text += "…(" + std::to_string(dropped) + " more bytes)";
    return true;
}

bool OTLogger::shouldPrint(std::int64_t configured, std::int64_t message) {
    switch (configured) {
        case 1: return message != kLevelData;
        case kLevelLog:
        case kLevelWarn:
        case kLevelError: return message == configured;
        case kLevelData: return true;
        default: return false;
    }
}

void OTLogger::log(const std::string& message, std::int64_t level, const char* function) {
    const std::string head = "\n\n******************** [OT][" + descriptionForLevel(level) + "] ********************\n";
    static const std::string tail = "\n******************************************************************\n\n";
    std::string banner;
    if (level == kLevelError) {
        const char* name = function != nullptr && *function != '\0' ? function + 1 : "";
        banner = head + name + "\n" + message + tail;
    } else {
        banner = head + message + tail;
    }
    environment_.console().printAt(level, banner);
}

void OTLogger::_log(const std::string& message) { write({stamp(), "  ", message, "\n"}); }

std::string OTLogger::stamp() const {
    const auto now = environment_.clock().now();
    return OTDateFormatter::dateTimeWithMilliseconds(now, environment_.clock().utcOffset(now));
}

void OTLogger::write(std::initializer_list<std::string_view> pieces) {
    if (_fileHandler->append(pieces)) flushLater();
}

void OTLogger::flushLater() {
    queue_->async([sink = _fileHandler] { sink->flush(); });
}

std::string OTLogger::descriptionForLevel(std::int64_t level) const {
    switch (level) {
        case kLevelDebug: return "Debug";
        case kLevelLog: return "Log";
        case kLevelWarn: return "Warn";
        case kLevelError: return "Error";
        case kLevelData: return "Data";
        default: return "Unknown";
    }
}

void OTLogger::handleFilesOfDirectory(const fs::path& directory) {
    const auto logs = logFilesOfDirectory(directory);
    // One deletion per start, on purpose: with the new file this keeps about three.
    std::error_code ec;
    if (logs.size() >= 3) fs::remove(logs.front(), ec);
}

namespace {
void collectLogFiles(const fs::path& directory, std::size_t depth, std::vector<fs::path>& logs) {
    // The folder is the library's own; the bound only keeps a planted link loop finite.
    static constexpr std::size_t kMaxDepth = 16;
    std::vector<fs::directory_entry> entries;
    std::error_code ec;
    for (fs::directory_iterator it(directory, fs::directory_options::skip_permission_denied, ec), end; !ec && it != end;
         it.increment(ec)) {
        entries.push_back(*it);
    }
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return a.path().filename() < b.path().filename(); });
    for (const auto& entry : entries) {
        if (entry.is_directory(ec) && !entry.is_symlink(ec)) {
            if (depth < kMaxDepth) collectLogFiles(entry.path(), depth + 1, logs);
        } else if (entry.path().extension() == ".log" && entry.is_regular_file(ec)) {
            logs.push_back(entry.path());
        }
    }
}
}  // namespace

std::vector<fs::path> OTLogger::logFilesOfDirectory(const fs::path& directory) {
    std::vector<fs::path> logs;
    collectLogFiles(directory, 0, logs);
    return logs;
}

void OTLogger::setListener(Listener listener) {
    listening_.store(static_cast<bool>(listener), std::memory_order_release);
    listener_.set(listener ? std::make_shared<const Listener>(std::move(listener)) : nullptr);
}

namespace {
constexpr const char* kNamespacePrefix = "corvane::";
}  // namespace

std::string OTLogger::functionName(const char* prettyFunction) {
    if (prettyFunction == nullptr) return "-";
    const std::string pretty(prettyFunction);
    // The parameter list is the last top-level parenthesised group; the name ends before it.
    std::size_t end = pretty.size();
    int depth = 0;
    for (std::size_t i = pretty.size(); i-- > 0;) {
        if (pretty[i] == ')') ++depth;
        else if (pretty[i] == '(' && --depth == 0) {
            end = i;
            break;
        }
    }
    std::size_t start = 0;
    int angle = 0;
    for (std::size_t i = end; i-- > 0;) {
        if (pretty[i] == '>') ++angle;
        else if (pretty[i] == '<') --angle;
        else if (pretty[i] == ' ' && angle == 0) {
            start = i + 1;
            break;
        }
    }
    std::string name = pretty.substr(start, end - start);
    // Messages name classes as the platform does, without the library's namespace.
    if (name.rfind(kNamespacePrefix, 0) == 0) name.erase(0, std::string_view(kNamespacePrefix).size());
    const std::size_t scope = name.rfind("::");
    if (scope == std::string::npos) return "-[" + name + "]";
    return "-[" + name.substr(0, scope) + " " + name.substr(scope + 2) + "]";
}

}  // namespace corvane
