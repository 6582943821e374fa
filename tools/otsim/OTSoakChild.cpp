#include "OTSoakChild.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

extern char** environ;

namespace corvane {

namespace {
void closeFd(int& fd) {
    if (fd >= 0) ::close(fd);
    fd = -1;
}
}  // namespace

std::string OTSoakChild::End::describe() const {
    if (exited) return "exited with status " + std::to_string(status);
    const char* name = ::strsignal(status);
    return "ended by signal " + std::to_string(status) + (name != nullptr ? std::string(" (") + name + ")" : "");
}

OTSoakChild::~OTSoakChild() {
    if (running()) {
        kill();
        wait();
    }
    closeFd(input_);
    closeFd(output_);
}

bool OTSoakChild::spawn(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                        const std::filesystem::path& errors) {
    int in[2] = {-1, -1};
    int out[2] = {-1, -1};
    if (::pipe2(in, O_CLOEXEC) != 0) return false;
    if (::pipe2(out, O_CLOEXEC) != 0) {
        ::close(in[0]);
        ::close(in[1]);
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    std::vector<std::string> words{program.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    const int failed = ::posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    input_ = in[1];
    output_ = out[0];
    if (failed != 0) {
        pid_ = -1;
        closeFd(input_);
        closeFd(output_);
        return false;
    }
    pending_.clear();
    return true;
}

bool OTSoakChild::send(const std::string& line) {
    if (input_ < 0) return false;
    const std::string text = line + "\n";
    for (std::size_t written = 0; written < text.size();) {
        const auto n = ::write(input_, text.data() + written, text.size() - written);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        written += static_cast<std::size_t>(n);
    }
    return true;
}

void OTSoakChild::closeInput() { closeFd(input_); }

OTSoakChild::Read OTSoakChild::readUntil(const std::function<bool(const nlohmann::json&)>& until,
                                         std::chrono::milliseconds timeout,
                                         const std::function<void(const nlohmann::json&)>& seen) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        // Whole lines first: an earlier read may have brought several.
        for (auto newline = pending_.find('\n'); newline != std::string::npos; newline = pending_.find('\n')) {
            const auto line = pending_.substr(0, newline);
            pending_.erase(0, newline + 1);
            const auto observation = nlohmann::json::parse(line, nullptr, false);
            if (observation.is_discarded() || !observation.is_object()) continue;
            seen(observation);
            if (until(observation)) return Read::Found;
        }
        if (output_ < 0) return Read::Ended;
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return Read::TimedOut;
        pollfd poll{output_, POLLIN, 0};
        const int ready = ::poll(&poll, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) continue;
        char buffer[65536];
        const auto n = ::read(output_, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            closeFd(output_);
            continue;
        }
        pending_.append(buffer, static_cast<std::size_t>(n));
    }
}

void OTSoakChild::kill() {
    if (running()) ::kill(pid_, SIGKILL);
}

OTSoakChild::End OTSoakChild::wait() {
    End end;
    if (!running()) return end;
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {}
    pid_ = -1;
    closeFd(input_);
    closeFd(output_);
    end.exited = WIFEXITED(status);
    end.status = end.exited ? WEXITSTATUS(status) : WTERMSIG(status);
    return end;
}

std::size_t OTSoakChild::peakMemoryBytes() const {
    if (!running()) return 0;
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    std::string key;
    while (status >> key) {
        if (key == "VmHWM:") {
            std::size_t kib = 0;
            status >> kib;
            return kib * 1024;
        }
        status.ignore(1 << 16, '\n');
    }
    return 0;
}

}  // namespace corvane
