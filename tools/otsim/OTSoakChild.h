#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace corvane {

// One life of the simulated app: an otsim process fed its scenario a line at a time on standard
// input, whose JSON observations are read back from standard output. It can be killed at any
// moment, as a phone kills an app.
class OTSoakChild {
public:
    enum class Read { Found, TimedOut, Ended };
    struct End {
        bool exited = false;  // else ended by a signal
        int status = 0;       // exit status or signal number
        std::string describe() const;
    };

    OTSoakChild() = default;
    ~OTSoakChild();
    OTSoakChild(const OTSoakChild&) = delete;
    OTSoakChild& operator=(const OTSoakChild&) = delete;

    // Starts `program` with `arguments`; its standard error is appended to `errors`.
    bool spawn(const std::filesystem::path& program, const std::vector<std::string>& arguments,
               const std::filesystem::path& errors);
    // False when the child no longer reads.
    bool send(const std::string& line);
    void closeInput();
    // Hands each observation to `seen` until one satisfies `until`, the time runs out or the child
    // closes its output.
    Read readUntil(const std::function<bool(const nlohmann::json&)>& until, std::chrono::milliseconds timeout,
                   const std::function<void(const nlohmann::json&)>& seen);
    void kill();
    End wait();
    bool running() const { return pid_ > 0; }
    // The child's peak resident memory so far, from /proc; 0 when it cannot be read.
    std::size_t peakMemoryBytes() const;

private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string pending_;
};

}  // namespace corvane
