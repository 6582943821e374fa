#include "platform/linux/OTFileConsole.h"

#include <fcntl.h>
#include <unistd.h>

namespace corvane {

namespace {
std::FILE* openPrivately(const std::filesystem::path& file) {
    const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) return nullptr;
    std::FILE* stream = ::fdopen(fd, "a");
    if (stream == nullptr) ::close(fd);
    return stream;
}
}  // namespace

OTFileConsole::OTFileConsole() : OTFileConsole(stderr, false) {}

OTFileConsole::OTFileConsole(const std::filesystem::path& file) : OTFileConsole(openPrivately(file), true) {}

OTFileConsole::OTFileConsole(std::FILE* stream, bool owned)
    : stream_(stream), owned_(owned), flusher_([this](const std::stop_token& stop) { run(stop); }) {}

OTFileConsole::~OTFileConsole() {
    flusher_.request_stop();
    flusher_.join();
    flush();
    if (owned_ && stream_ != nullptr) std::fclose(stream_);
}

void OTFileConsole::print(const std::string& text) {
    std::unique_lock lock(mutex_);
    const bool wasEmpty = pending_.empty();
    pending_ += text;
    if (text.empty() || text.back() != '\n') pending_ += '\n';
    if (pending_.size() >= kMaxPending) writePending(lock);
    else if (wasEmpty) wake_.notify_one();
}

void OTFileConsole::flush() {
    std::unique_lock lock(mutex_);
    writePending(lock);
}

void OTFileConsole::writePending(std::unique_lock<std::mutex>&) {
    if (pending_.empty()) return;
    if (stream_ != nullptr) {
        std::fwrite(pending_.data(), 1, pending_.size(), stream_);
        std::fflush(stream_);
    }
    pending_.clear();
}

void OTFileConsole::run(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    while (!stop.stop_requested()) {
        if (!wake_.wait(lock, stop, [this] { return !pending_.empty(); })) break;
        // Lines that follow within the delay go out with the first.
        wake_.wait_for(lock, stop, kFlushDelay, [] { return false; });
        writePending(lock);
    }
}

}  // namespace corvane
