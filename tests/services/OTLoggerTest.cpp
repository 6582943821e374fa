#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "corvane/CorvaneOtManager.h"
#include "foundation/OTDescription.h"
#include "foundation/OTFiles.h"
#include "services/OTLogger.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {
std::string readAll(const fs::path& path) { return OTFiles::readFile(path).value_or("<missing>"); }

std::set<std::string> logFiles(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() == ".log") names.insert(entry.path().filename().string());
    }
    return names;
}
}  // namespace

struct LoggerTestReporter {
    void fail() { OTLog(OTLogger::kLevelError, "下载失败：%@", 404); }
};

TEST(OTLogger, WritesHeaderAndTimestampedLinesToTheRunFileOnTheLogQueue) {
    OTTestEnvironment test;
    auto logger = OTLogger::getInstance();
    const fs::path expected = test.documents() / "OT_Log" / "otsdk_2024-05-01 08:00:00.log";
    EXPECT_EQ(logger->logFilePath(), expected);
    ASSERT_TRUE(fs::exists(expected));
    EXPECT_EQ(readAll(expected), "");  // nothing is written on the caller's thread

    test.clock().advance(1234ms);
    OTLogger::log(OTLogger::kLevelLog, "-[T t]", "hello %@, %d", "world", 7);
    test.clock().advance(1h);
    OTLogger::log(OTLogger::kLevelDebug, "-[T t]", "second");
    // The header and both lines wait together for one queued write.
    EXPECT_EQ(test.scheduler().pendingCount(), 1u);
    test.scheduler().runUntilIdle();
    EXPECT_EQ(readAll(expected),
              "设备名称:iPhone15,2\n手机系统版本:17.5\n应用版本号:3.1.4\n\n"
              "2024-05-01 08:00:01.234  hello world, 7\n"
              "2024-05-01 09:00:01.234  second\n");
    // At the default level 0 none of it reached the console.
    EXPECT_TRUE(test.console().lines().empty());
}

TEST(OTLogger, LinesLoggedBeforeTheQueueRunsReachTheFileWholeAndInOrder) {
    OTTestEnvironment test;
    auto logger = OTLogger::getInstance();
    test.scheduler().runUntilIdle();
    const auto header = readAll(logger->logFilePath());
    // Several 64 KiB chunks' worth, with lines that straddle the chunk ends and one larger than a chunk.
    std::string expected;
    const std::string wide(100 * 1024, 'w');
    for (int i = 0; i < 3000; ++i) {
        const std::string message = i == 1500 ? wide : "line " + std::to_string(i) + std::string(i % 97, '.');
        OTLogger::log(OTLogger::kLevelLog, "-[T t]", "%@", message);
        expected += "2024-05-01 08:00:00.000  " + message + "\n";
    }
    EXPECT_EQ(test.scheduler().pendingCount(), 1u);
    test.scheduler().runUntilIdle();
    EXPECT_EQ(readAll(logger->logFilePath()), header + expected);
    // A line after the batch went starts the next one.
    OTLogger::log(OTLogger::kLevelLog, "-[T t]", "after");
    EXPECT_EQ(test.scheduler().pendingCount(), 1u);
    test.scheduler().runUntilIdle();
    const auto whole = header + expected + "2024-05-01 08:00:00.000  after\n";
    EXPECT_EQ(readAll(logger->logFilePath()), whole);

    // At the run's cap one line says the file was cut, and it grows no more.
    const std::string line = "2024-05-01 08:00:00.000  capped\n";
    CorvaneOtManager::configLogFileLimit(whole.size() + 2 * line.size());
    for (int i = 0; i < 5; ++i) OTLogger::log(OTLogger::kLevelLog, "-[T t]", "capped");
    test.scheduler().runUntilIdle();
    const std::string cut = whole + line + line + "日志文件已达本次运行的上限 " +
                            std::to_string(whole.size() + 2 * line.size()) + " 字节，后续日志不再写入\n";
    EXPECT_EQ(readAll(logger->logFilePath()), cut);
    CorvaneOtManager::configLogFileLimit(0);
    OTLogger::log(OTLogger::kLevelLog, "-[T t]", "%@", std::string(1 << 20, 'x'));
    test.scheduler().runUntilIdle();
    EXPECT_EQ(readAll(logger->logFilePath()), cut);
}

TEST(OTLogger, ConsoleFilterFollowsItsTableExactly) {
    const std::int64_t messages[] = {0, 1, 2, 3, 4, 5, 6, 7};
    auto printed = [&](std::int64_t configured) {
        std::vector<std::int64_t> out;
        for (auto m : messages) {
            if (OTLogger::shouldPrint(configured, m)) out.push_back(m);
        }
        return out;
    };
    using V = std::vector<std::int64_t>;
    EXPECT_EQ(printed(0), V{});
    EXPECT_EQ(printed(1), (V{0, 1, 2, 3, 4, 5, 7}));
    EXPECT_EQ(printed(2), V{});
    EXPECT_EQ(printed(3), V{3});
    EXPECT_EQ(printed(4), V{4});
    EXPECT_EQ(printed(5), V{5});
    EXPECT_EQ(printed(6), (V{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(printed(7), V{});
    EXPECT_EQ(printed(-1), V{});

    OTTestEnvironment test;
    OTLogger::configLogLevel(4);
    OTLogger::log(OTLogger::kLevelWarn, "-[T t]", "warn");
    OTLogger::log(OTLogger::kLevelError, "-[T t]", "error");
    OTLogger::log(OTLogger::kLevelData, "-[T t]", "data");
    ASSERT_EQ(test.console().lines().size(), 1u);
    EXPECT_NE(test.console().lines()[0].find("warn"), std::string::npos);
    test.scheduler().runUntilIdle();
    const auto file = readAll(OTLogger::getInstance()->logFilePath());
    EXPECT_NE(file.find("  error\n"), std::string::npos);  // the file takes every level
    EXPECT_NE(file.find("  data\n"), std::string::npos);
}

TEST(OTLogger, BannersFrameTheMessageAndErrorsNameTheirFunction) {
    OTTestEnvironment test;
    OTLogger::configLogLevel(6);
    OTLogger::log(OTLogger::kLevelData, "-[OTNetwork post]", "请求参数：%@", "{}");
    OTLogger::log(2, "-[T t]", "odd");
    LoggerTestReporter().fail();
    OTLogger::configLogLevel(1);
    OTLogger::log(OTLogger::kLevelError, "+[OTUtils md5]", "e");
    const auto lines = test.console().lines();
    ASSERT_EQ(lines.size(), 4u);
    const std::string close = "\n******************************************************************\n\n";
    EXPECT_EQ(lines[0], "\n\n******************** [OT][Data] ********************\n请求参数：{}" + close);
    EXPECT_EQ(lines[1], "\n\n******************** [OT][Unknown] ********************\nodd" + close);
    EXPECT_EQ(lines[2],
              "\n\n******************** [OT][Error] ********************\n"
              "[LoggerTestReporter fail]\n下载失败：404" +
                  close);
    EXPECT_EQ(lines[3], "\n\n******************** [OT][Error] ********************\n[OTUtils md5]\ne" + close);
    EXPECT_EQ(std::string(66, '*'), close.substr(1, 66));
}

TEST(OTLogger, EachStartDeletesOneOldFileWhenThreeOrMoreArePresent) {
    OTTestEnvironment test;
    const fs::path folder = test.documents() / "OT_Log";
    fs::create_directories(folder / "nested");
    for (const char* name : {"a.log", "b.log", "c.txt"}) OTFiles::writeFileAtomically(folder / name, "x");
    OTFiles::writeFileAtomically(folder / "nested" / "d.log", "x");

    // Three ".log" files, one of them nested: exactly one goes, then this run's file is added.
    OTLogger::getInstance();
    std::size_t remaining = logFiles(folder).size() + (fs::exists(folder / "nested" / "d.log") ? 1 : 0);
    EXPECT_EQ(remaining, 3u);
    EXPECT_FALSE(fs::exists(folder / "a.log"));  // the first by name
    EXPECT_TRUE(fs::exists(folder / "c.txt"));

    // Each later start removes one and adds one, never a sweep.
    for (int start = 0; start < 3; ++start) {
        test.clock().advance(1s);
        test.restart();
        OTLogger::getInstance();
        remaining = logFiles(folder).size() + (fs::exists(folder / "nested" / "d.log") ? 1 : 0);
        EXPECT_EQ(remaining, 3u);
    }
    // Two files only: nothing is deleted.
    fs::remove_all(folder);
    fs::create_directories(folder);
    OTFiles::writeFileAtomically(folder / "old.log", "x");
    test.clock().advance(1s);
    test.restart();
    OTLogger::getInstance();
    EXPECT_EQ(logFiles(folder).size(), 2u);
}

TEST(OTLogger, FunctionNamesComeFromThePrettyName) {
    EXPECT_EQ(
        OTLogger::functionName("void OTSDKManager::startWithConfiguration(const std::shared_ptr<CorvaneOtConfig>&)"),
        "-[OTSDKManager startWithConfiguration]");
    EXPECT_EQ(OTLogger::functionName("static std::shared_ptr<OTLogger> OTLogger::getInstance()"),
              "-[OTLogger getInstance]");
    EXPECT_EQ(OTLogger::functionName("std::map<int, std::vector<int> > ns::A<int>::f(int) const"), "-[ns::A<int> f]");
    EXPECT_EQ(OTLogger::functionName("int main()"), "-[main]");
    EXPECT_EQ(OTLogger::functionName("void corvane::OTSDKManager::syncRecordTree()"), "-[OTSDKManager syncRecordTree]");
    EXPECT_EQ(OTLogger::functionName(nullptr), "-");
}

TEST(OTLogger, LoggingNeverThrowsWhateverItIsGiven) {
    OTTestEnvironment test;
    OTLogger::configLogLevel(6);
    EXPECT_NO_THROW(OTLogger::log(OTLogger::kLevelError, nullptr, nullptr));
    EXPECT_NO_THROW(OTLogger::log(OTLogger::kLevelError, "", "%@%@%@%d%s%f", nullptr));
    EXPECT_NO_THROW(OTLogger::log(99, "-[X y]", "%@", nlohmann::json::parse("[1,{\"a\":null}]")));
    EXPECT_NO_THROW(OTLogger::log(OTLogger::kLevelLog, "-[X y]", "%@", std::string("\xFF\xFE invalid utf-8")));
    // A callback run on a transport's thread that throws is logged instead.
    EXPECT_NO_THROW(OTLogger::guarded([] { throw std::runtime_error("boom"); }));
    EXPECT_NO_THROW(OTLogger::guarded([] { throw 7; }));
    test.scheduler().runUntilIdle();
    EXPECT_EQ(test.console().lines().size(), 6u);
    const auto log = test.log();
    EXPECT_NE(log.find("请求回调异常：boom\n"), std::string::npos);
    EXPECT_NE(log.find("请求回调异常：unknown\n"), std::string::npos);
}

// Where messages go besides the file: a listener hears each whatever the console level; a console
// sink takes the console's lines instead of the platform console.
TEST(OTLogger, AListenerHearsEveryMessageAndAConsoleSinkTakesTheConsoleLines) {
    OTTestEnvironment test;
    std::vector<std::pair<std::int64_t, std::string>> heard;
    OTLogger::getInstance()->setListener(
        [&heard](std::int64_t level, const std::string& message) { heard.emplace_back(level, message); });
    OTLogger::configLogLevel(0);
    OTLog(OTLogger::kLevelData, "数据 %@", 1);
    OTLog(OTLogger::kLevelError, "失败：%@", std::string(300 * 1024, 'x'));
    OTLogger::getInstance()->setListener(nullptr);
    OTLog(OTLogger::kLevelLog, "not heard");
    // Unheard and not shown, a message is formatted straight into the file: the same line, cut alike.
    OTLog(OTLogger::kLevelError, "失败：%@", std::string(300 * 1024, 'x'));
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0], std::make_pair(OTLogger::kLevelData, std::string("数据 1")));
    EXPECT_EQ(heard[1].first, OTLogger::kLevelError);
    EXPECT_EQ(heard[1].second.size(), OTLogger::kMaxMessageBytes + std::string("…(45065 more bytes)").size());
    EXPECT_TRUE(test.console().lines().empty());
    test.scheduler().runUntilIdle();
    const auto log = test.log();
    const std::string line = "  " + heard[1].second + "\n";
    const auto first = log.find(line);
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(log.find(line, first + line.size()), std::string::npos);
    EXPECT_NE(log.find("  not heard\n"), std::string::npos);

    // A megabyte answer is described only as far as the line keeps it, and the cut counts what the
    // whole description would have taken, heard or not.
    nlohmann::json answer = nlohmann::json::array();
    for (int i = 0; i < 40000; ++i) answer.push_back({{"名称", "活动" + std::to_string(i)}});
    const auto whole = OTLogger::capped("data:\n" + OTDescription::describe(answer));
    ASSERT_NE(whole.find("more bytes)"), std::string::npos);
    const auto full = OTDescription::describe(answer);
    for (const std::size_t limit : {1000u, 1001u, 1002u}) {
        std::size_t omitted = 0;
        const auto start = OTDescription::describe(answer, limit, omitted);
        EXPECT_EQ(full.compare(0, start.size(), start), 0);
        EXPECT_EQ(start.size() + omitted, full.size());
        // Never inside a character: what follows starts one.
        EXPECT_NE(static_cast<unsigned char>(full[start.size()]) & 0xC0, 0x80);
        EXPECT_LE(start.size(), limit + 3);
    }
    heard.clear();
    OTLogger::getInstance()->setListener(
        [&heard](std::int64_t level, const std::string& message) { heard.emplace_back(level, message); });
    OTLog(OTLogger::kLevelLog, "data:\n%@", answer);
    OTLogger::getInstance()->setListener(nullptr);
    OTLog(OTLogger::kLevelLog, "data:\n%@", answer);
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_EQ(heard[0].second, whole);
    test.scheduler().runUntilIdle();
    const auto twice = test.log();
    const auto once = twice.find("  " + whole + "\n");
    ASSERT_NE(once, std::string::npos);
    EXPECT_NE(twice.find("  " + whole + "\n", once + whole.size()), std::string::npos);

    std::vector<std::pair<std::int64_t, std::string>> sunk;
    test.environment().setConsoleSink(
        [&sunk](std::int64_t level, const std::string& text) { sunk.emplace_back(level, text.substr(0, 40)); });
    OTLogger::configLogLevel(5);
    OTLogger::log(OTLogger::kLevelWarn, "-[T t]", "filtered out");
    OTLogger::log(OTLogger::kLevelError, "-[T t]", "failed");
    test.environment().console().print("matchData");
    ASSERT_EQ(sunk.size(), 2u);
    EXPECT_EQ(sunk[0].first, OTLogger::kLevelError);
    EXPECT_NE(sunk[0].second.find("[OT][Error]"), std::string::npos);
    EXPECT_EQ(sunk[1], (std::pair<std::int64_t, std::string>{-1, "matchData"}));
    EXPECT_TRUE(test.console().lines().empty());
    // A sink that throws loses its message only; an empty one gives the console back.
    test.environment().setConsoleSink([](std::int64_t, const std::string&) { throw std::runtime_error("sink"); });
    EXPECT_NO_THROW(test.environment().console().print("lost"));
    test.environment().setConsoleSink(nullptr);
    test.environment().console().print("back");
    EXPECT_EQ(test.console().lines(), std::vector<std::string>{"back"});
    test.scheduler().runUntilIdle();
    EXPECT_NE(test.log().find("  failed\n"), std::string::npos);  // the log file as ever
}

}  // namespace corvane
