#pragma once

#include <cstddef>

namespace corvane {

// Every byte the program holds through operator new, counted as it is allocated and freed, with
// the highest count since the last reset: what a phone's memory watchdog sees of the heap, without
// the allocator's own caching in between.
class OTAllocationCounter {
public:
    static std::size_t liveBytes();
    static std::size_t peakBytes();
    // The peak starts again from what is live now.
    static void resetPeak();
};

}  // namespace corvane
