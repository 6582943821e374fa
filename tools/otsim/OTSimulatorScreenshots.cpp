#include "OTSimulatorScreenshots.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <thread>

namespace corvane {

namespace fs = std::filesystem;

namespace {
// A page that takes longer than this hangs the browser: it is stopped and the page skipped.
constexpr auto kPageLimit = std::chrono::seconds(60);

bool isProgram(const fs::path& path) {
    std::error_code ec;
    return fs::is_regular_file(path, ec) && ::access(path.c_str(), X_OK) == 0;
}

// Runs `arguments` with its output discarded; the exit status, or nothing when it could not start
// or ran past the limit.
std::optional<int> runQuietly(std::vector<std::string> arguments) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    const pid_t child = ::fork();
    if (child < 0) return std::nullopt;
    if (child == 0) {
        const int null = ::open("/dev/null", O_RDWR);
        if (null >= 0) {
            ::dup2(null, STDIN_FILENO);
            ::dup2(null, STDOUT_FILENO);
            ::dup2(null, STDERR_FILENO);
        }
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    const auto deadline = std::chrono::steady_clock::now() + kPageLimit;
    int status = 0;
    for (;;) {
        const pid_t done = ::waitpid(child, &status, WNOHANG);
        if (done == child) break;
        if (done < 0 && errno != EINTR) return std::nullopt;
        if (std::chrono::steady_clock::now() >= deadline) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            return std::nullopt;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (!WIFEXITED(status)) return std::nullopt;
    return WEXITSTATUS(status);
}
// Whether a page holds a character of the CJK ideographs (U+4E00 to U+9FFF), by its UTF-8 lead byte.
bool holdsChinese(const fs::path& page) {
    std::ifstream in(page, std::ios::binary);
    for (char c = 0; in.get(c);) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0xE4 && byte <= 0xE9) return true;
    }
    return false;
}
}  // namespace

std::optional<bool> OTSimulatorScreenshots::chineseFontInstalled() {
    const char* chosen = std::getenv("OT_FC_LIST");
    const std::string program = chosen != nullptr && *chosen != '\0' ? chosen : "fc-list";
    FILE* pipe = ::popen(("'" + program + "' :lang=zh family 2>/dev/null").c_str(), "r");
    if (pipe == nullptr) return std::nullopt;
    std::string listed;
    char buffer[256];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) listed.append(buffer, n);
    const int status = ::pclose(pipe);
    // Without fontconfig's lister nobody can tell.
    if (!WIFEXITED(status) || WEXITSTATUS(status) == 127) return std::nullopt;
    return listed.find_first_not_of(" \t\r\n") != std::string::npos;
}

std::optional<fs::path> OTSimulatorScreenshots::findBrowser() {
    if (const char* chosen = std::getenv("OT_CHROMIUM"); chosen != nullptr && *chosen != '\0') {
        return isProgram(chosen) ? std::optional<fs::path>(chosen) : std::nullopt;
    }
    const char* path = std::getenv("PATH");
    std::string_view folders = path != nullptr ? path : "/usr/bin:/bin";
    for (const char* name : {"chromium", "chromium-browser"}) {
        for (std::size_t start = 0; start <= folders.size();) {
            const auto end = std::min(folders.find(':', start), folders.size());
            const auto folder = folders.substr(start, end - start);
            if (!folder.empty() && isProgram(fs::path(folder) / name)) return fs::path(folder) / name;
            start = end + 1;
        }
    }
    return std::nullopt;
}

OTSimulatorScreenshots::Result OTSimulatorScreenshots::render(const fs::path& pages, const fs::path& pictures,
                                                              const OTSize& screen) {
    Result result;
    const auto browser = findBrowser();
    if (!browser) {
        result.problems.push_back("chromium is not installed (Debian package chromium): no PNG pictures");
        return result;
    }
    std::error_code ec;
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(pages, ec)) {
        if (entry.path().extension() == ".html") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    if (std::any_of(files.begin(), files.end(), holdsChinese) && chineseFontInstalled() == false) {
        result.problems.push_back(
            "no font covers the Chinese texts (Debian package fonts-noto-cjk): they are drawn as empty boxes");
    }
    fs::create_directories(pictures, ec);
    // A profile of its own, so that a browser the user has open is neither used nor disturbed.
    const auto profile = fs::temp_directory_path(ec) / ("otsim-chromium-" + std::to_string(::getpid()));
    const auto size = std::to_string(std::lround(screen.width)) + "," + std::to_string(std::lround(screen.height));
    for (const auto& page : files) {
        const auto picture = pictures / page.filename().replace_extension(".png");
        fs::remove(picture, ec);
        const auto status =
            runQuietly({browser->string(), "--headless", "--disable-gpu", "--no-sandbox", "--hide-scrollbars",
                        "--user-data-dir=" + profile.string(), "--window-size=" + size,
                        "--screenshot=" + picture.string(), "file://" + fs::absolute(page, ec).string()});
        if (status == 0 && fs::is_regular_file(picture, ec)) {
            result.written.push_back(picture);
        } else {
            result.problems.push_back("chromium drew no picture of " + page.filename().string());
        }
    }
    fs::remove_all(profile, ec);
    return result;
}

}  // namespace corvane
