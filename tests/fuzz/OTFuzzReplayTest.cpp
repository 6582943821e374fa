#include <gtest/gtest.h>

#include <filesystem>

#include "OTFuzzTargets.h"
#include "foundation/OTFiles.h"

namespace corvane {

namespace fs = std::filesystem;

// Every seed and every input that once broke a target runs through it again here, in every
// build the suite runs in (sanitizers included).
TEST(OTFuzzReplay, EverySeedAndRegressionRunsCleanThroughItsTarget) {
    for (const auto& target : otFuzzTargets()) {
        SCOPED_TRACE(target.name);
        std::size_t seeds = 0;
        for (const char* folder : {"corpus", "regressions"}) {
            const fs::path directory = fs::path(OT_FUZZ_DIR) / folder / target.name;
            ASSERT_TRUE(fs::is_directory(directory)) << directory;
            for (const auto& entry : fs::directory_iterator(directory)) {
                if (!entry.is_regular_file() || entry.path().filename().string().starts_with(".")) continue;
                const auto bytes = OTFiles::readFile(entry.path());
                ASSERT_TRUE(bytes.has_value()) << entry.path();
                EXPECT_EQ(target.run(reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size()), 0)
                    << entry.path();
                if (std::string_view(folder) == "corpus") ++seeds;
            }
        }
        EXPECT_GE(seeds, 1u);
    }
}

}  // namespace corvane
