// The libFuzzer entry of one target, chosen by OT_FUZZ_ENTRY when the program is built.
#include "OTFuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return corvane::OT_FUZZ_ENTRY(data, size);
}
