#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <thread>
#include <vector>

#include "foundation/OTFiles.h"
#include "platform/linux/OTFileConsole.h"

namespace corvane {

namespace {
// Standard error sent to a file for the life of this object.
class CapturedStandardError {
public:
    CapturedStandardError()
        : path_(std::filesystem::temp_directory_path() / ("otconsole-" + std::to_string(::getpid()))) {
        std::fflush(stderr);
        saved_ = ::dup(STDERR_FILENO);
        std::FILE* file = std::fopen(path_.c_str(), "w");
        ::dup2(::fileno(file), STDERR_FILENO);
        std::fclose(file);
    }
    ~CapturedStandardError() {
        std::fflush(stderr);
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
        std::error_code ec;
        std::filesystem::remove(path_, ec);
    }
    std::string text() const { return OTFiles::readFile(path_).value_or(""); }

private:
    std::filesystem::path path_;
    int saved_ = -1;
};
}  // namespace

TEST(OTFileConsole, LinesArriveWholeAndInOrderByFlushOrByTheEnd) {
    CapturedStandardError captured;
    {
        OTFileConsole console;
        console.print("getListData");
        console.print("matches:1,event->available:1\n");
        console.print("");
        console.flush();
        EXPECT_EQ(captured.text(), "getListData\nmatches:1,event->available:1\n\n");
        console.print("last words");
    }
    EXPECT_EQ(captured.text(), "getListData\nmatches:1,event->available:1\n\nlast words\n");
}

TEST(OTFileConsole, AFileOfItsOwnIsAppendedToAndPrivate) {
    const auto folder = std::filesystem::temp_directory_path() / ("otfileconsole-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    const auto file = folder / "console.log";
    {
        OTFileConsole console(file);
        console.print("first");
    }
    {
        OTFileConsole console(file);
        console.print("second\n");
    }
    EXPECT_EQ(OTFiles::readFile(file), "first\nsecond\n");
    EXPECT_EQ(std::filesystem::status(file).permissions() & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    {
        // A folder that is not there: the lines go nowhere, and nothing breaks.
        OTFileConsole console(folder / "missing" / "console.log");
        console.print("lost");
        console.flush();
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
    std::error_code ec;
    std::filesystem::remove_all(folder, ec);
}

TEST(OTFileConsole, ManyThreadsPrintingNeverSplitALine) {
    CapturedStandardError captured;
    constexpr int kThreads = 4;
    constexpr int kLines = 5000;  // well past the pending limit, so writes happen while others print
    {
        OTFileConsole console;
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&console, t] {
                for (int i = 0; i < kLines; ++i)
                    console.print("thread " + std::to_string(t) + " line " + std::to_string(i));
            });
        }
        for (auto& thread : threads) thread.join();
    }
    const auto text = captured.text();
    std::vector<int> next(kThreads, 0);
    std::size_t at = 0;
    int lines = 0;
    while (at < text.size()) {
        const auto end = text.find('\n', at);
        ASSERT_NE(end, std::string::npos);
        int thread = -1, line = -1;
        ASSERT_EQ(std::sscanf(text.substr(at, end - at).c_str(), "thread %d line %d", &thread, &line), 2);
        ASSERT_GE(thread, 0);
        ASSERT_LT(thread, kThreads);
        EXPECT_EQ(line, next[static_cast<std::size_t>(thread)]++) << "each thread's lines in its order";
        ++lines;
        at = end + 1;
    }
    EXPECT_EQ(lines, kThreads * kLines);
}

}  // namespace corvane
