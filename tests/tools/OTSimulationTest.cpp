#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "OTSimulation.h"

namespace corvane {

namespace {
struct Run {
    bool held = false;
    std::string transcript;
    OTSimulation::Counts counts;
};

Run simulate(std::uint64_t seed, std::int64_t days, std::optional<std::size_t> until = std::nullopt,
             std::size_t diskBound = std::size_t{160} << 20) {
    OTSimulation::Options options;
    options.seed = seed;
    options.days = days;
    options.until = until;
    options.campaigns = OT_SAMPLE_CAMPAIGNS;
    options.diskBound = diskBound;
    std::ostringstream out;
    OTSimulation simulation(options, out);
    Run run;
    run.held = simulation.run();
    run.transcript = out.str();
    run.counts = simulation.counts();
    return run;
}

// The transcript up to the line of step `step`, that line excluded.
std::string before(const std::string& transcript, std::size_t step) {
    return transcript.substr(0, transcript.find("\nstep " + std::to_string(step) + ": "));
}
}  // namespace

// A seed is a run: the same seed gives the same transcript, crashes and all, with every invariant
// held; a run stopped at a step is the same run up to there.
TEST(OTSimulation, ASeedReplaysByteForByteWithEveryInvariantHeld) {
    const auto first = simulate(5, 4);
    EXPECT_TRUE(first.held) << first.transcript.substr(first.transcript.size() - 2000);
    EXPECT_GT(first.counts.crashes, 0u);
    EXPECT_GT(first.counts.crashesInWrites, 0u);
    EXPECT_GT(first.counts.dialogs, 0u);
    EXPECT_GE(first.counts.days, 4.0);
    EXPECT_NE(first.transcript.find("crashed writing "), std::string::npos);
    EXPECT_EQ(simulate(5, 4).transcript, first.transcript);

    const auto stopped = simulate(5, 4, 120);
    EXPECT_EQ(stopped.counts.steps, 120u);
    EXPECT_EQ(before(stopped.transcript, 120), before(first.transcript, 120));
    EXPECT_NE(simulate(6, 4).transcript.substr(0, 2000), first.transcript.substr(0, 2000));
}

// A breach names the seed and the step and prints the command that replays the run up to it.
TEST(OTSimulation, ABreachPrintsTheCommandThatReplaysIt) {
    const auto run = simulate(9, 2, std::nullopt, 1000);
    EXPECT_FALSE(run.held);
    EXPECT_EQ(run.counts.breaches, 1u);
    const auto at = run.transcript.find("breach at step ");
    ASSERT_NE(at, std::string::npos) << run.transcript;
    const auto step = std::stoul(run.transcript.substr(at + 15));
    EXPECT_EQ(step, run.counts.steps);
    EXPECT_NE(run.transcript.find("(seed 9): the app's files reached "), std::string::npos);
    EXPECT_NE(
        run.transcript.find("replay: otsim --simulate 9 --days 2 --until " + std::to_string(step) + " --verbose\n"),
        std::string::npos);
}

}  // namespace corvane
